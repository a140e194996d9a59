#pragma once

#import <Foundation/Foundation.h>
#import <GeoloomObjC/ARFrame.h>
#import <GeoloomObjC/ARSCNView.h>
#import <GeoloomObjC/ARSession.h>
#import <GeoloomObjC/DetectedObject.h>
#import <GeoloomObjC/Map.h>
#import <GeoloomObjC/MapAsset.h>
#import <GeoloomObjC/MapMode.h>
#import <GeoloomObjC/MapSessionConfiguration.h>
#import <GeoloomObjC/MapStatus.h>
#import <GeoloomObjC/UIView.h>
#import <GeoloomObjC/Unavailable.h>

struct GeoloomNative;

/// Callbacks are copied and kept until they are replaced, or until they have been called where they are
/// called once. Each call has an autorelease pool of its own. An Objective-C exception that leaves one is
/// logged and goes no further. nil is no callback.
#if defined(__BLOCKS__)
typedef void (^AssetsFoundCallback)(NSArray* assets);
typedef void (^StatusCallback)(MapStatus status);
typedef void (^ObjectDetectedCallback)(NSArray* objects);
typedef void (^PlacementCallback)(BOOL stored);
typedef void (^MapsFoundCallback)(NSArray* maps);
#else
/// Without blocks in the language: what GeoloomBlock.h makes.
typedef void* AssetsFoundCallback;
typedef void* StatusCallback;
typedef void* ObjectDetectedCallback;
typedef void* PlacementCallback;
typedef void* MapsFoundCallback;
#endif

/// A place shared with other people: opens a session with the mapping service, keeps the application's assets
/// in a map and brings them back into this session's coordinates, and finds real objects in camera frames.
///
/// Create a session and register its callbacks in one go on the main thread of an application that has handed
/// the main queue over (GeoloomMainQueue): the service's answers are handled there too, so none comes in
/// between.
///
/// Operations return at once and may be called from any thread, `updateWithFrame:` by one thread at a time.
///
/// There is no way to close a session: releasing this object only lets go of it. Once created a session
/// lives, calls its callbacks and asks for transforms every second, until the process ends.
@interface MapSession : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// Settings that all sessions of the process share. Set before a session is constructed.

/// Not consulted by this version: 0.75.
+ (float)CONFIDENCE_THRESHOLD;
+ (void)setCONFIDENCE_THRESHOLD:(float)value;
/// Not consulted by this version: 60.
+ (NSInteger)TIMEOUT_THRESHOLD;
+ (void)setTIMEOUT_THRESHOLD:(NSInteger)value;
/// Not consulted by this version: NO.
+ (BOOL)CONTINOUSLY_UPDATED_RELOCALIZATION;
+ (void)setCONTINOUSLY_UPDATED_RELOCALIZATION:(BOOL)value;
/// Chooses the service's beta: its address when a session is constructed, its algorithm whenever a
/// localization session is opened. Default NO.
+ (BOOL)USE_BETA_ALGO;
+ (void)setUSE_BETA_ALGO:(BOOL)value;
/// Not consulted by this version: 2.
+ (NSInteger)RETRIEVE_ASSETS_INTERVAL;
+ (void)setRETRIEVE_ASSETS_INTERVAL:(NSInteger)value;

@property(nonatomic, readonly) MapMode mapSessionMode;
/// UUID of the localization session, or of the map that is being made; nil until the service has named it.
@property(nonatomic, readonly) NSString* mapSessionUUID;
/// UUID of the map that is being made or localized against; nil until the service has named it.
@property(nonatomic, readonly) NSString* mappingUUID;
@property(nonatomic, readonly) NSString* mapID;
@property(nonatomic, readonly) NSString* userID;

/// Starts a session over the application's AR session and begins to open it with the service; how that went
/// arrives as a status. `userID` and `mapID` are the application's own identifiers. `developerKey` is not
/// kept; the services are told its MD5. The screen's size is in points. nil, after a line in the system log,
/// without an AR session or a configuration or for a number that is no mode. The process stops when the
/// detection model is missing or cannot be loaded.
- (instancetype)initWithArSession:(ARSession*)arSession
                          mapMode:(MapMode)mapMode
                           userID:(NSString*)userID
                            mapID:(NSString*)mapID
                     developerKey:(NSString*)developerKey
                     screenHeight:(CGFloat)screenHeight
                      screenWidth:(CGFloat)screenWidth
          mapSessionConfiguration:(MapSessionConfiguration*)mapSessionConfiguration;

/// Replaces all three callbacks. What happened before is not reported again, but for a transform, which waits
/// for an assets callback.
///
/// `assetsFoundCallback`, on the session's asset queue: all assets of the map (MapAsset), whenever the
/// service knows better where this session stands in it.
///
/// `statusCallback`, on the main queue: how the opening of the session went.
///
/// `objectDetectedCallback`, on the detector's queue: what was found in a frame (DetectedObject), unless that
/// is nothing.
- (void)registerCallbacksWithAssetsFoundCallback:(AssetsFoundCallback)assetsFoundCallback
                                  statusCallback:(StatusCallback)statusCallback
                          objectDetectedCallback:(ObjectDetectedCallback)objectDetectedCallback;

/// Goes on with another AR session and forgets the service's identifiers. The session is not opened again.
- (void)resetWithArSession:(ARSession*)arSession;

/// Offers a camera frame. It is analysed when the camera has moved and no other frame is being analysed, else
/// dropped.
- (void)updateWithFrame:(ARFrame*)frame;

/// Draws what the detector finds: an overlay on `view`, boxes in the scene of `scene`. Call on the main
/// thread.
- (void)visualizeSceneUnderstandingWithView:(UIView*)view scene:(ARSCNView*)scene;

/// Stores assets (MapAsset) in the map. NO when the session cannot take any: before MapStatusInitialized, and
/// in localization mode. After YES, `callback` tells whether the service took them, on the main queue; it is
/// not called when the service does not answer.
- (BOOL)storePlacementWithAssets:(NSArray*)assets callback:(PlacementCallback)callback;

/// Asks for the maps (Map) within half a delta of a location on either side, of one user, or of all when
/// `userID` is nil; degrees. NO when it is too early, in the first moments of a session. After YES, the
/// callback receives the maps on the main queue; none when the service does not answer.
- (BOOL)listNearbyMapsWithUserID:(NSString*)userID
                       longitude:(double)longitude
                        latitude:(double)latitude
                  longitudeDelta:(double)longitudeDelta
                   latitudeDelta:(double)latitudeDelta
               mapsFoundCallback:(MapsFoundCallback)mapsFoundCallback;

- (instancetype)init GEOLOOM_UNAVAILABLE("use initWithArSession:mapMode:...");
+ (instancetype)new GEOLOOM_UNAVAILABLE("use initWithArSession:mapMode:...");

@end
