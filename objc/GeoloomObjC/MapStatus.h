#pragma once

#import <Foundation/Foundation.h>

/// The result of opening a session, reported to the status callback on the main queue at most once per
/// session. The reserved values are never reported; treat them as unknown.
typedef NS_ENUM(NSInteger, MapStatus) {
  /// The service has assigned the session's identifiers; from now on placements are accepted (mapping).
  MapStatusInitialized = 0,
  /// Localization: the service has no map with that identifier.
  MapStatusMapNotFound = 1,
  /// The service could not be reached, or its answer was invalid.
  MapStatusConnectionFailed = 2,
  MapStatusReserved3 = 3,
  /// The service refused, for a reason other than a missing map.
  MapStatusServiceError = 4,
  MapStatusReserved5 = 5,
  MapStatusReserved6 = 6,
  MapStatusReserved7 = 7,
  MapStatusReserved8 = 8,
  MapStatusReserved9 = 9
};
