#import <GeoloomObjC/GeoloomMainQueue.h>
#import <GeoloomObjC/Private.h>

#include "objc/bridge/Platform.h"

/// A task posted to the main thread.
@interface GeoloomPostedTask : NSObject {
  GeoloomTask* task_;
}
@end

@implementation GeoloomPostedTask

- (id)initWithTask:(GeoloomTask*)task {
  if ((self = [super init]) != nil) task_ = task;
  return self;
}

- (void)run {
  geoloomTaskRun(task_);
}

@end

static void post(GeoloomTask* task) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  GeoloomPostedTask* posted = [[[GeoloomPostedTask alloc] initWithTask:task] autorelease];
  [posted performSelectorOnMainThread:@selector(run) withObject:nil waitUntilDone:NO];
  [pool release];
}

/// The first use of a class takes a lock of the runtime, and a post takes one of the run loop. If the main
/// thread entered its loop for the first time while another thread posted for the first time, the two could
/// deadlock. So both are used once before any post.
static void useOnce(void) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  [NSRunLoop currentRunLoop];
  [[[NSObject new] autorelease] performSelectorOnMainThread:@selector(self) withObject:nil waitUntilDone:NO];
  [pool release];
}

@implementation GeoloomMainQueue

+ (BOOL)handOverToMainRunLoop {
  useOnce();
  if (geoloomMainQueueHandOver(post)) return YES;
  GeoloomLog(
      @"handOverToMainRunLoop: the main queue is already in use; hand it over before the first session");
  return NO;
}

@end
