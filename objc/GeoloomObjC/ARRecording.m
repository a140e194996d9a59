#import <GeoloomObjC/ARFrame.h>
#import <GeoloomObjC/ARRecording.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Recording.h"

@implementation ARRecording

+ (ARRecording*)recordingWithFolder:(NSString*)folder {
  GeoloomNative* native = geoloomRecordingOpen(GeoloomTextOf(folder));
  return native == NULL ? nil : [[(id)[ARRecording alloc] initWithGeoloomNative:native] autorelease];
}

GEOLOOM_HOLDS_NATIVE

GEOLOOM_REFUSES_INIT(@"use recordingWithFolder:")

- (NSUInteger)frameCount {
  return geoloomRecordingFrameCount(native_);
}

- (NSArray*)problems {
  NSString* lines = GeoloomStringOf(geoloomRecordingProblems(native_));
  return [lines length] == 0 ? [NSArray array] : [lines componentsSeparatedByString:@"\n"];
}

- (NSTimeInterval)timestampOfFrame:(NSUInteger)index {
  return geoloomRecordingTimestamp(native_, index);
}

- (ARFrame*)frameAtIndex:(NSUInteger)index {
  GeoloomNative* frame = geoloomRecordingFrame(native_, index);
  return frame == NULL ? nil : [[(id)[ARFrame alloc] initWithGeoloomNative:frame] autorelease];
}

@end
