#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/SCNNodeSnapshot.h>

struct GeoloomNative;

/// A tree of nodes in world coordinates (metres, y up), into which the kit draws. May be used from any
/// thread.
@interface SCNScene : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// The root of a copy of the whole scene as it is now.
- (SCNNodeSnapshot*)snapshot;

- (instancetype)init GEOLOOM_UNAVAILABLE("take the scene of an ARSCNView");
+ (instancetype)new GEOLOOM_UNAVAILABLE("take the scene of an ARSCNView");

@end

GEOLOOM_TYPED_ALLOC(SCNScene)
