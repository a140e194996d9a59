#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/CALayer.h>

struct GeoloomNative;

/// A part of the application's screen, in points, and its layer. Use it on the main thread.
@interface UIView : NSObject {
 @private
  struct GeoloomNative* native_;
}

@property(nonatomic, readonly) NSRect frame;
/// The layer above which the kit draws its overlay.
@property(nonatomic, readonly) CALayer* layer;

- (instancetype)initWithFrame:(NSRect)frame;

@end
