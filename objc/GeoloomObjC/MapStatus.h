#pragma once

#import <Foundation/Foundation.h>

/// How the opening of a session went. Reported to the status callback on the main queue, at most once a
/// session. Nothing reports the reserved values; an application takes them as unknown.
typedef NS_ENUM(NSInteger, MapStatus) {
  /// The service knows the session and has named its identifiers; placements are accepted from now on
  /// (mapping).
  MapStatusInitialized = 0,
  /// Localization: the service knows no map of that identifier.
  MapStatusMapNotFound = 1,
  /// The service could not be reached, or its answer was not understood.
  MapStatusConnectionFailed = 2,
  MapStatusReserved3 = 3,
  /// The service refused, for another reason than a missing map.
  MapStatusServiceError = 4,
  MapStatusReserved5 = 5,
  MapStatusReserved6 = 6,
  MapStatusReserved7 = 7,
  MapStatusReserved8 = 8,
  MapStatusReserved9 = 9
};
