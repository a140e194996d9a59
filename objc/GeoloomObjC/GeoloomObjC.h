#pragma once

/// All headers that an application needs.

#import <GeoloomObjC/ARFrame.h>
#import <GeoloomObjC/ARRecording.h>
#import <GeoloomObjC/ARSCNView.h>
#import <GeoloomObjC/ARSession.h>
#import <GeoloomObjC/CALayer.h>
#import <GeoloomObjC/DetectedObject.h>
#import <GeoloomObjC/GeoloomBlock.h>
#import <GeoloomObjC/GeoloomMainQueue.h>
#import <GeoloomObjC/Map.h>
#import <GeoloomObjC/MapAsset.h>
#import <GeoloomObjC/MapMode.h>
#import <GeoloomObjC/MapSession.h>
#import <GeoloomObjC/MapSessionConfiguration.h>
#import <GeoloomObjC/MapStatus.h>
#import <GeoloomObjC/MapTransform.h>
#import <GeoloomObjC/SCNNodeSnapshot.h>
#import <GeoloomObjC/SCNScene.h>
#import <GeoloomObjC/SCNVector3.h>
#import <GeoloomObjC/ServiceEndpoints.h>
#import <GeoloomObjC/UIView.h>
