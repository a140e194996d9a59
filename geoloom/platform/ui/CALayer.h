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

/// A layer of a view and its sublayers. The list of sublayers and `isHidden` may be used from any thread: the
/// kit adds layers on the application's thread and hides them on the main queue, while a renderer reads them.
class GEOLOOM_EXPORT CALayer : public NSObject {
 public:
  ~CALayer() override;

  /// Adds `layer` above the existing sublayers.
  void addSublayer(std::shared_ptr<CALayer> layer);
  /// A copy of the list, bottom to top.
  [[nodiscard]] std::vector<std::shared_ptr<CALayer>> sublayers() const;

  [[nodiscard]] bool isHidden() const { return hidden_; }
  void setHidden(bool hidden) { hidden_ = hidden; }

 private:
  mutable base::Mutex mutex_;
  std::vector<std::shared_ptr<CALayer>> sublayers_ GEOLOOM_GUARDED_BY(mutex_);
  std::atomic<bool> hidden_ = false;
};

/// A vector path. Set the plain fields before adding the layer to another.
class GEOLOOM_EXPORT CAShapeLayer final : public CALayer {
 public:
  ~CAShapeLayer() override;

  UIColor fillColor = UIColor::blackColor();
  UIColor strokeColor = UIColor::clearColor();
  double lineWidth = 1;
};

/// A line of text. Set the plain fields before adding the layer to another.
class GEOLOOM_EXPORT CATextLayer final : public CALayer {
 public:
  ~CATextLayer() override;

  std::string string;
  UIFont font{"Helvetica", 36};
  double fontSize = 36;      ///< points
  double contentsScale = 1;  ///< pixels per point
  UIColor foregroundColor = UIColor::whiteColor();
  TextAlignment alignmentMode = TextAlignment::natural;
};

}  // namespace geoloom::platform
