#pragma once

#import <Foundation/Foundation.h>

/// What a session does in a place.
typedef NS_ENUM(NSInteger, MapMode) {
  /// A new shared map of the place is being made.
  MapModeMapping = 0,
  /// A place that was mapped before is to be recognised.
  MapModeLocalization = 1
};
