#pragma once

// Names that the C++ blocks of docs/utilities.md use.

#include <functional>
#include <unordered_map>
#include <vector>

#include "geoloom/geoloom.h"

using namespace geoloom;

namespace {

std::vector<std::uint8_t> bytes;
const std::size_t width = 1;
const std::size_t height = 1;
const std::ptrdiff_t x = 0;
const std::ptrdiff_t y = 0;
const std::shared_ptr<platform::CVPixelBuffer> camera;
const std::shared_ptr<platform::CVPixelBuffer> output;
const std::shared_ptr<platform::MLMultiArray> array;
const std::vector<NMSPrediction> boxes;
const std::unordered_map<std::string, double> probabilities;
const std::vector<float> scores;

}  // namespace
