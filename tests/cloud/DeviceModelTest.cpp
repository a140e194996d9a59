#include <gtest/gtest.h>

#include "geoloom/cloud/DeviceModel.h"

namespace geoloom {
namespace {

TEST(DeviceModel, NamesAreExact) {
  const std::pair<const char*, const char*> cases[] = {
      {"iPod7,1", "iPod Touch 6"},
      {"iPhone4,1", "iPhone 4s"},
      {"iPhone5,3", "iPhone 5c"},
      {"iPhone7,1", "iPhone 6 Plus"},
      {"iPhone8,4", "iPhone SE"},
      {"iPhone9,4", "iPhone 7 Plus"},
      {"iPhone10,6", "iPhone X"},
      {"iPad2,4", "iPad 2"},
      {"iPad2,5", "iPad Mini"},
      {"iPad4,9", "iPad Mini 3"},
      {"iPad6,12", "iPad 5"},
      {"iPad6,4", "iPad Pro 9.7 Inch"},
      {"iPad7,1", "iPad Pro 12.9 Inch 2. Generation"},
      {"AppleTV6,2", "Apple TV 4K"},
      {"AudioAccessory1,1", "HomePod"},
      {"i386", "Simulator"},
      {"x86_64", "Simulator"},
  };
  for (const auto& [identifier, name] : cases) EXPECT_EQ(modelName(identifier), name) << identifier;
}

TEST(DeviceModel, WhatIsNotListedComesBackUnchanged) {
  for (const char* identifier :
       {"", "aarch64", "iPhone99,1", "iphone10,6", "iPhone10,6 ", "iPhone10", "iPhone X"})
    EXPECT_EQ(modelName(identifier), identifier);
}

}  // namespace
}  // namespace geoloom
