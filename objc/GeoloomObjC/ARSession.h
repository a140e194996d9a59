#pragma once

#import <Foundation/Foundation.h>

@class ARFrame;
struct GeoloomNative;

/// A frame of the camera, on the thread that delivers it. Kept, called and guarded like the callbacks of
/// MapSession.
#if defined(__BLOCKS__)
typedef void (^FrameCallback)(ARFrame* frame);
#else
typedef void* FrameCallback;
#endif

/// A running world-tracking session: whatever tracks the camera hands it every frame, the application hears
/// of each. May be used from any thread.
@interface ARSession : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// The newest frame; nil before the first.
@property(nonatomic, readonly) ARFrame* currentFrame;

/// The application's handler, called for every frame; nil for none.
- (void)setDidUpdateFrame:(FrameCallback)didUpdateFrame;

/// For trackers and players: makes `frame` the current one and calls the application's handler with it.
- (void)deliverFrame:(ARFrame*)frame;

@end
