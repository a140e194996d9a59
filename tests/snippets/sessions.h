#pragma once

// Names that the C++ blocks of docs/sessions.md use.

#include <memory>
#include <string>

#include "geoloom/geoloom.h"

using namespace geoloom;

namespace {

const auto arSession = std::make_shared<platform::ARSession>();
const std::string developerKey;
const double viewHeight = 812;
const double viewWidth = 375;
const std::shared_ptr<MapSession> session;
void show(const std::string&, platform::SCNVector3, float) {}
void showError(const std::string&) {}
void myLog(std::string_view) {}
const MapSession::AssetsFoundCallback onAssets;
const MapSession::StatusCallback onStatus;
const MapSession::ObjectDetectedCallback onObjects;

}  // namespace
