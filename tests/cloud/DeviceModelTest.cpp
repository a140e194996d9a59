#include <gtest/gtest.h>

#include "geoloom/cloud/DeviceModel.h"

namespace geoloom {
namespace {

TEST(DeviceModel, NamesListedIdentifiersOnly) {
  const std::pair<const char*, const char*> cases[] = {{"iPod7,1", "iPod Touch 6"},
                                                       {"iPhone4,1", "iPhone 4s"},
                                                       {"iPhone8,4", "iPhone SE"},
                                                       {"iPhone10,6", "iPhone X"},
                                                       {"iPad2,5", "iPad Mini"},
                                                       {"iPad6,12", "iPad 5"},
                                                       {"iPad6,4", "iPad Pro 9.7 Inch"},
                                                       {"iPad7,1", "iPad Pro 12.9 Inch 2. Generation"},
                                                       {"AudioAccessory1,1", "HomePod"},
                                                       {"x86_64", "Simulator"},
                                                       {"", ""},
                                                       {"iPhone99,1", "iPhone99,1"},
                                                       {"iphone10,6", "iphone10,6"},
                                                       {"iPhone10,6 ", "iPhone10,6 "}};
  for (const auto& [identifier, name] : cases) EXPECT_EQ(modelName(identifier), name) << identifier;
}

}  // namespace
}  // namespace geoloom
