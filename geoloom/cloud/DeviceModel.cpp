#include "geoloom/cloud/DeviceModel.h"

#include <algorithm>
#include <iterator>

namespace geoloom {

namespace {

struct Device {
  std::string_view identifier;
  std::string_view name;
};

constexpr Device DEVICES[] = {
    {"iPod5,1", "iPod Touch 5"},
    {"iPod7,1", "iPod Touch 6"},
    {"iPhone3,1", "iPhone 4"},
    {"iPhone3,2", "iPhone 4"},
    {"iPhone3,3", "iPhone 4"},
    {"iPhone4,1", "iPhone 4s"},
    {"iPhone5,1", "iPhone 5"},
    {"iPhone5,2", "iPhone 5"},
    {"iPhone5,3", "iPhone 5c"},
    {"iPhone5,4", "iPhone 5c"},
    {"iPhone6,1", "iPhone 5s"},
    {"iPhone6,2", "iPhone 5s"},
    {"iPhone7,2", "iPhone 6"},
    {"iPhone7,1", "iPhone 6 Plus"},
    {"iPhone8,1", "iPhone 6s"},
    {"iPhone8,2", "iPhone 6s Plus"},
    {"iPhone9,1", "iPhone 7"},
    {"iPhone9,3", "iPhone 7"},
    {"iPhone9,2", "iPhone 7 Plus"},
    {"iPhone9,4", "iPhone 7 Plus"},
    {"iPhone8,4", "iPhone SE"},
    {"iPhone10,1", "iPhone 8"},
    {"iPhone10,4", "iPhone 8"},
    {"iPhone10,2", "iPhone 8 Plus"},
    {"iPhone10,5", "iPhone 8 Plus"},
    {"iPhone10,3", "iPhone X"},
    {"iPhone10,6", "iPhone X"},
    {"iPad2,1", "iPad 2"},
    {"iPad2,2", "iPad 2"},
    {"iPad2,3", "iPad 2"},
    {"iPad2,4", "iPad 2"},
    {"iPad3,1", "iPad 3"},
    {"iPad3,2", "iPad 3"},
    {"iPad3,3", "iPad 3"},
    {"iPad3,4", "iPad 4"},
    {"iPad3,5", "iPad 4"},
    {"iPad3,6", "iPad 4"},
    {"iPad4,1", "iPad Air"},
    {"iPad4,2", "iPad Air"},
    {"iPad4,3", "iPad Air"},
    {"iPad5,3", "iPad Air 2"},
    {"iPad5,4", "iPad Air 2"},
    {"iPad6,11", "iPad 5"},
    {"iPad6,12", "iPad 5"},
    {"iPad2,5", "iPad Mini"},
    {"iPad2,6", "iPad Mini"},
    {"iPad2,7", "iPad Mini"},
    {"iPad4,4", "iPad Mini 2"},
    {"iPad4,5", "iPad Mini 2"},
    {"iPad4,6", "iPad Mini 2"},
    {"iPad4,7", "iPad Mini 3"},
    {"iPad4,8", "iPad Mini 3"},
    {"iPad4,9", "iPad Mini 3"},
    {"iPad5,1", "iPad Mini 4"},
    {"iPad5,2", "iPad Mini 4"},
    {"iPad6,3", "iPad Pro 9.7 Inch"},
    {"iPad6,4", "iPad Pro 9.7 Inch"},
    {"iPad6,7", "iPad Pro 12.9 Inch"},
    {"iPad6,8", "iPad Pro 12.9 Inch"},
    {"iPad7,1", "iPad Pro 12.9 Inch 2. Generation"},
    {"iPad7,2", "iPad Pro 12.9 Inch 2. Generation"},
    {"iPad7,3", "iPad Pro 10.5 Inch"},
    {"iPad7,4", "iPad Pro 10.5 Inch"},
    {"AppleTV5,3", "Apple TV"},
    {"AppleTV6,2", "Apple TV 4K"},
    {"AudioAccessory1,1", "HomePod"},
    {"i386", "Simulator"},
    {"x86_64", "Simulator"},
};

}  // namespace

std::string modelName(std::string_view identifier) {
  const auto* const device = std::find_if(std::begin(DEVICES), std::end(DEVICES),
                                          [&](const Device& row) { return row.identifier == identifier; });
  return std::string(device == std::end(DEVICES) ? identifier : device->name);
}

}  // namespace geoloom
