#pragma once

#import <GeoloomObjC/SCNScene.h>
#import <GeoloomObjC/UIView.h>

@class ARSession;

/// A view that shows a 3D scene over the camera's image. Use it on the main thread.
@interface ARSCNView : UIView {
 @private
  ARSession* session_;
}

@property(nonatomic, retain) ARSession* session;
/// The scene in which the kit draws boxes; initially empty.
@property(nonatomic, readonly) SCNScene* scene;

@end
