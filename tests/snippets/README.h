#pragma once

// Names that the C++ blocks of README.md use.

#include <iostream>
#include <unordered_map>
#include <vector>

#include "geoloom/geoloom.h"

namespace {

const std::vector<std::uint8_t> bytes;
const std::shared_ptr<geoloom::platform::CVPixelBuffer> cameraBuffer;
const std::shared_ptr<geoloom::platform::MLMultiArray> array;
const std::vector<geoloom::NMSPrediction> boxes;
const std::unordered_map<std::string, double> probabilities;
const auto arSession = std::make_shared<geoloom::platform::ARSession>();
const std::string developerKey;
void show(const std::vector<std::shared_ptr<geoloom::MapAsset>>&) {}

}  // namespace
