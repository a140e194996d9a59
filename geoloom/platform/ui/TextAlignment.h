#pragma once

namespace geoloom::platform {

enum class TextAlignment { natural, left, right, center, justified };

}  // namespace geoloom::platform
