#pragma once

/// All that an application includes.

#include "geoloom/SceneUnderstanding/Ranking.h"
#include "geoloom/platform/ar/ARCamera.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSCNView.h"
#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/platform/foundation/LibraryBundle.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/location/CLLocationManager.h"
#include "geoloom/platform/ui/UIView.h"
#include "geoloom/session/MapSession.h"
#include "geoloom/session/ServiceEndpoints.h"
#include "geoloom/storage/Compression.h"
#include "geoloom/utilities/Clamp.h"
#include "geoloom/utilities/MultiArray.h"
#include "geoloom/utilities/PixelBuffer.h"
