#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/Drawing.h>
#import <GeoloomObjC/Unavailable.h>

struct GeoloomNative;

/// An immutable copy of a node of a scene and of its descendants. May be read from any thread.
@interface SCNNodeSnapshot : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// Relative to the parent: scale, then orientation, then position in metres.
@property(nonatomic, readonly) SCNVector3 position;
@property(nonatomic, readonly) SCNVector4 orientation;
@property(nonatomic, readonly) SCNVector3 scale;

/// SCNShapeNone for a node without geometry. SCNShape lists the sizes that each shape has; the others are 0.
@property(nonatomic, readonly) SCNShape shape;
@property(nonatomic, readonly) CGFloat width;
@property(nonatomic, readonly) CGFloat height;
@property(nonatomic, readonly) CGFloat length;
@property(nonatomic, readonly) CGFloat radius;
/// nil for shapes other than text.
@property(nonatomic, readonly) NSString* string;
@property(nonatomic, readonly) NSString* fontName;
@property(nonatomic, readonly) CGFloat fontSize;
/// The diffuse colour of the surface.
@property(nonatomic, readonly) GeoloomColor color;

/// Child nodes (SCNNodeSnapshot) in the order in which they were added.
@property(nonatomic, readonly) NSArray* children;

- (instancetype)init GEOLOOM_UNAVAILABLE("take the snapshot of an SCNScene");
+ (instancetype)new GEOLOOM_UNAVAILABLE("take the snapshot of an SCNScene");

@end

GEOLOOM_TYPED_ALLOC(SCNNodeSnapshot)
