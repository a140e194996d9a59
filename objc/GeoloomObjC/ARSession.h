#pragma once

#import <Foundation/Foundation.h>

@class ARFrame;
struct GeoloomNative;

/// Receives each frame on the thread that delivers it. See MapSession.h for the lifetime of callbacks.
#if defined(__BLOCKS__)
typedef void (^FrameCallback)(ARFrame* frame);
#else
typedef void* FrameCallback;
#endif

/// A running world-tracking session: the tracker delivers frames to it, and it calls the application's
/// handler with each. May be used from any thread.
@interface ARSession : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// The latest frame; nil before the first.
@property(nonatomic, readonly) ARFrame* currentFrame;

/// Sets the application's handler; nil for none.
- (void)setDidUpdateFrame:(FrameCallback)didUpdateFrame;

/// For trackers and players: makes `frame` the current frame and calls the application's handler with it.
- (void)deliverFrame:(ARFrame*)frame;

@end
