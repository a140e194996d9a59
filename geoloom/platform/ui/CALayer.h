#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Mutex.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/ui/TextAlignment.h"
#include "geoloom/platform/ui/UIColor.h"
#include "geoloom/platform/ui/UIFont.h"

namespace geoloom::platform {

/// A rectangle of drawing and the layers above it. The list of sublayers and `isHidden` may be used from any
/// thread: the kit adds layers on the application's thread and hides them on the main queue, while a renderer
/// reads them.
class GEOLOOM_EXPORT CALayer : public NSObject {
 public:
  ~CALayer() override;

  /// On top of those that are there.
  void addSublayer(std::shared_ptr<CALayer> layer);
  /// Bottom to top, as they are now.
  [[nodiscard]] std::vector<std::shared_ptr<CALayer>> sublayers() const;

  [[nodiscard]] bool isHidden() const { return hidden_; }
  void setHidden(bool hidden) { hidden_ = hidden; }

 private:
  mutable base::Mutex mutex_;
  std::vector<std::shared_ptr<CALayer>> sublayers_ GEOLOOM_GUARDED_BY(mutex_);
  std::atomic<bool> hidden_ = false;
};

/// How a vector path is drawn. The plain fields are set before the layer is added to another.
class GEOLOOM_EXPORT CAShapeLayer final : public CALayer {
 public:
  ~CAShapeLayer() override;

  UIColor fillColor = UIColor::blackColor();
  UIColor strokeColor = UIColor::clearColor();
  double lineWidth = 1;
};

/// A line of text. The plain fields are set before the layer is added to another.
class GEOLOOM_EXPORT CATextLayer final : public CALayer {
 public:
  ~CATextLayer() override;

  std::string string;
  UIFont font{"Helvetica", 36};
  double fontSize = 36;      ///< points
  double contentsScale = 1;  ///< pixels a point
  UIColor foregroundColor = UIColor::whiteColor();
  TextAlignment alignmentMode = TextAlignment::natural;
};

}  // namespace geoloom::platform
