#pragma once

#import <GeoloomObjC/UIView.h>

@class ARSession;

/// A view that shows a 3D scene over the camera's image. Used on the application's main thread.
@interface ARSCNView : UIView {
 @private
  ARSession* session_;
}

@property(nonatomic, retain) ARSession* session;

@end
