#pragma once

#import <Foundation/Foundation.h>

struct GeoloomNative;

/// A part of the application's screen, in points, and the layers that are drawn there. Used on the
/// application's main thread.
@interface UIView : NSObject {
 @private
  struct GeoloomNative* native_;
}

@property(nonatomic, readonly) NSRect frame;

- (instancetype)initWithFrame:(NSRect)frame;

@end
