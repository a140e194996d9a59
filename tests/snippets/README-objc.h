#pragma once

// Names that the Objective-C blocks of README.md use.

#import <GeoloomObjC/GeoloomObjC.h>

@interface Scene : NSObject
- (void)moveTo:(NSArray*)assets;
@end

extern ARSession* arSession;
extern MapSessionConfiguration* configuration;
extern NSString* key;
extern Scene* scene;
extern BOOL isRunning;
