#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/Drawing.h>
#import <GeoloomObjC/Unavailable.h>

struct GeoloomNative;

/// A layer of a view and its sublayers: a CALayer, a CAShapeLayer or a CATextLayer. May be used from any
/// thread.
@interface CALayer : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// Sublayers (CALayer), bottom to top.
@property(nonatomic, readonly) NSArray* sublayers;
@property(nonatomic, readonly, getter=isHidden) BOOL hidden;

- (instancetype)init GEOLOOM_UNAVAILABLE("take the layer of a UIView");
+ (instancetype)new GEOLOOM_UNAVAILABLE("take the layer of a UIView");

@end

GEOLOOM_TYPED_ALLOC(CALayer)

/// A vector path.
@interface CAShapeLayer : CALayer
@property(nonatomic, readonly) GeoloomColor fillColor;
@property(nonatomic, readonly) GeoloomColor strokeColor;
@property(nonatomic, readonly) CGFloat lineWidth;
@end

/// A line of text.
@interface CATextLayer : CALayer
@property(nonatomic, readonly) NSString* string;
/// Points.
@property(nonatomic, readonly) CGFloat fontSize;
@property(nonatomic, readonly) GeoloomColor foregroundColor;
@end
