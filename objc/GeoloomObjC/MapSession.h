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
#import <GeoloomObjC/MapTransform.h>
#import <GeoloomObjC/UIView.h>
#import <GeoloomObjC/Unavailable.h>

struct GeoloomNative;

/// Callbacks are copied and kept until they are replaced, or after their only call. Each call has its own
/// autorelease pool. An Objective-C exception that leaves a callback is logged. Callbacks may be nil.
#if defined(__BLOCKS__)
typedef void (^AssetsFoundCallback)(NSArray* assets);
typedef void (^StatusCallback)(MapStatus status);
typedef void (^ObjectDetectedCallback)(NSArray* objects);
typedef void (^PlacementCallback)(BOOL stored);
typedef void (^MapsFoundCallback)(NSArray* maps);
#else
/// Without blocks in the language: made with GeoloomBlock.h.
typedef void* AssetsFoundCallback;
typedef void* StatusCallback;
typedef void* ObjectDetectedCallback;
typedef void* PlacementCallback;
typedef void* MapsFoundCallback;
#endif

/// A session in a shared place: it stores the application's assets in a map of the mapping service, returns
/// them in this session's coordinates, and finds real objects in camera frames.
///
/// Hand the main queue over (GeoloomMainQueue), then create a session and register its callbacks without
/// returning to the run loop: the service's answer is handled there, so its status cannot arrive before the
/// callbacks are registered.
///
/// Operations return soon, except that the initializer takes up to 200 ms. They may be called from any
/// thread; `updateWithFrame:` from one thread at a time.
///
/// A session cannot be closed. After this object is released, the session still calls its callbacks and scans
/// for transforms every second until the process ends.
@interface MapSession : NSObject {
 @private
  struct GeoloomNative* native_;
}

/// Settings shared by all sessions of the process. Set them before creating a session.

/// Not used by this version. Default 0.75.
+ (float)CONFIDENCE_THRESHOLD;
+ (void)setCONFIDENCE_THRESHOLD:(float)value;
/// Not used by this version. Default 60.
+ (NSInteger)TIMEOUT_THRESHOLD;
+ (void)setTIMEOUT_THRESHOLD:(NSInteger)value;
/// Not used by this version. Default NO.
+ (BOOL)CONTINOUSLY_UPDATED_RELOCALIZATION;
+ (void)setCONTINOUSLY_UPDATED_RELOCALIZATION:(BOOL)value;
/// Selects the service's beta: its address when a session is created, its algorithm when a localization
/// session is opened. Default NO.
+ (BOOL)USE_BETA_ALGO;
+ (void)setUSE_BETA_ALGO:(BOOL)value;
/// Not used by this version. Default 2.
+ (NSInteger)RETRIEVE_ASSETS_INTERVAL;
+ (void)setRETRIEVE_ASSETS_INTERVAL:(NSInteger)value;

/// The reason why the detection model cannot be loaded, for which a new session would end the process; nil if
/// it can. Loads the model.
+ (NSString*)detectionModelFault;

@property(nonatomic, readonly) MapMode mapSessionMode;
/// UUID of the localization session, or of the map being made; nil until the service has assigned it.
@property(nonatomic, readonly) NSString* mapSessionUUID;
/// UUID of the map being made or recognised; nil until the service has assigned it.
@property(nonatomic, readonly) NSString* mappingUUID;
@property(nonatomic, readonly) NSString* mapID;
@property(nonatomic, readonly) NSString* userID;
/// The transform of the assets of the last assets callback; nil before the first one and after a reset. It is
/// applied to their positions only; see MapAsset's `orientation`.
@property(nonatomic, readonly) MapTransform* lastTransform;

/// Starts a session on the application's AR session and opens it with the service; the result arrives as a
/// status. `userID` and `mapID` are the application's own identifiers. `developerKey` is not kept; the
/// services receive its MD5. The screen's size is in points, height first. nil, after a line in the system
/// log, without an AR session or a configuration and for an invalid mode. Ends the process if the detection
/// model cannot be loaded; call `detectionModelFault` first.
- (instancetype)initWithArSession:(ARSession*)arSession
                          mapMode:(MapMode)mapMode
                           userID:(NSString*)userID
                            mapID:(NSString*)mapID
                     developerKey:(NSString*)developerKey
                     screenHeight:(CGFloat)screenHeight
                      screenWidth:(CGFloat)screenWidth
          mapSessionConfiguration:(MapSessionConfiguration*)mapSessionConfiguration;

/// Replaces all three callbacks. Earlier events are not reported again, except that a transform waits for an
/// assets callback.
///
/// `assetsFoundCallback`, on the session's asset queue: all assets of the map (MapAsset), whenever the
/// service finds a better transform.
///
/// `statusCallback`, on the main queue: the result of opening the session.
///
/// `objectDetectedCallback`, on the detector's queue: the objects found in a frame (DetectedObject), if there
/// are any.
- (void)registerCallbacksWithAssetsFoundCallback:(AssetsFoundCallback)assetsFoundCallback
                                  statusCallback:(StatusCallback)statusCallback
                          objectDetectedCallback:(ObjectDetectedCallback)objectDetectedCallback;

/// Continues with another AR session and without the service's identifiers. The session is not opened again.
- (void)resetWithArSession:(ARSession*)arSession;

/// Offers a camera frame. It is analysed if the camera has moved and no other frame is being analysed;
/// otherwise it is dropped.
- (void)updateWithFrame:(ARFrame*)frame;

/// Draws detected objects: an overlay on `view`, boxes in the scene of `scene`. Call it on the main thread.
- (void)visualizeSceneUnderstandingWithView:(UIView*)view scene:(ARSCNView*)scene;

/// Stores assets (MapAsset) in the map. NO before MapStatusInitialized and always in localization mode. After
/// YES, `callback` runs on the main queue with YES if the service stored the assets and NO if it rejected
/// them; it is not called if the service does not answer.
- (BOOL)storePlacementWithAssets:(NSArray*)assets callback:(PlacementCallback)callback;

/// Requests the maps (Map) within half a delta of a location on either side, in degrees, of one user, or of
/// all users if `userID` is nil. NO in the first moments of a session. After YES, the callback receives the
/// maps on the main queue; not if the service does not answer.
- (BOOL)listNearbyMapsWithUserID:(NSString*)userID
                       longitude:(double)longitude
                        latitude:(double)latitude
                  longitudeDelta:(double)longitudeDelta
                   latitudeDelta:(double)latitudeDelta
               mapsFoundCallback:(MapsFoundCallback)mapsFoundCallback;

- (instancetype)init GEOLOOM_UNAVAILABLE("use initWithArSession:mapMode:...");
+ (instancetype)new GEOLOOM_UNAVAILABLE("use initWithArSession:mapMode:...");

@end

GEOLOOM_TYPED_ALLOC(MapSession)
