#pragma once

#import <Foundation/Foundation.h>

/// The purpose of a session.
typedef NS_ENUM(NSInteger, MapMode) {
  /// Makes a new shared map of the place.
  MapModeMapping = 0,
  /// Recognises a place that was mapped before.
  MapModeLocalization = 1
};
