#pragma once

#import <Foundation/Foundation.h>

/// The result of opening a session, reported to the status callback on the main queue at most once per
/// session. The reserved values are never reported; treat them as unknown.
typedef NS_ENUM(NSInteger, MapStatus) {
  /// The service has assigned the session's identifiers; a mapping session accepts placements from now on.
  MapStatusInitialized = 0,
  /// The service has no map with that identifier; in localization mode only.
  MapStatusMapNotFound = 1,
  /// The service could not be reached, or its answer was invalid.
  MapStatusConnectionFailed = 2,
  MapStatusReserved3 = 3,
  /// The service rejected the request for another reason.
  MapStatusServiceError = 4,
  MapStatusReserved5 = 5,
  MapStatusReserved6 = 6,
  MapStatusReserved7 = 7,
  MapStatusReserved8 = 8,
  MapStatusReserved9 = 9
};
