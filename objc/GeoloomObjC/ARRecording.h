#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/Unavailable.h>

@class ARFrame;
struct GeoloomNative;

/// A recorded walk: a folder of colour images, depth images and poses (docs/recordings.md), read as the
/// frames of a device held upright. Use it on one thread at a time.
@interface ARRecording : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// Reads the folder's lists; `frameAtIndex:` opens the images. nil, after a line in the system log with the
/// reason, for a folder that is not a recording.
+ (ARRecording*)recordingWithFolder:(NSString*)folder;

@property(nonatomic, readonly) NSUInteger frameCount;

/// Skipped files so far and probable mistakes of the recording: strings, one line each.
@property(nonatomic, readonly) NSArray* problems;

/// Seconds; never decreases from frame to frame. NaN for a frame that does not exist.
- (NSTimeInterval)timestampOfFrame:(NSUInteger)index;

/// nil for a frame that does not exist or cannot be read.
- (ARFrame*)frameAtIndex:(NSUInteger)index;

- (instancetype)init GEOLOOM_UNAVAILABLE("use recordingWithFolder:");
+ (instancetype)new GEOLOOM_UNAVAILABLE("use recordingWithFolder:");

@end

GEOLOOM_TYPED_ALLOC(ARRecording)
