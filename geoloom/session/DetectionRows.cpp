#include "geoloom/session/DetectionRows.h"

#include <cstddef>
#include <utility>

#include "geoloom/base/Text.h"
#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/storage/SceneUnderstandingModel.h"

namespace geoloom {
namespace {

using base::text;
using platform::Console;

/// The saves of one batch; kept by the completion of the save in flight.
class BatchSaver final : public std::enable_shared_from_this<BatchSaver> {
 public:
  BatchSaver(const DetectionBatch& batch, std::shared_ptr<SessionObserver> observer)
      : mapper_(platform::AWSDynamoDBObjectMapper::defaultMapper()), observer_(std::move(observer)) {
    rows_.reserve(batch.objects.size());
    for (const auto& object : batch.objects) {
      const platform::SCNVector3 c = object->center;
      rows_.emplace_back(batch.sessionID, batch.frameID, c.x, c.y, c.z, object->name, object->confidence,
                         batch.mode != MapMode::mapping);
    }
  }

  void saveNext() {
    if (next_ == rows_.size()) return;
    mapper_.save(rows_[next_++], [self = shared_from_this()](const base::Result<void>& saved) {
      self->report(saved);
      self->saveNext();
    });
  }

 private:
  void report(const base::Result<void>& saved) const {
    if (!saved) {
      Console::print("Amazon DynamoDB Save Error: " + saved.failure().message);
      observer_->rowFailed(saved.failure().message);
      return;
    }
    const SceneUnderstandingModel& row = rows_[next_ - 1];
    Console::print("An item was saved. " + *row.ObjectName + ", " + text(*row.PositionX) + "," +
                   text(*row.PositionY) + "," + text(*row.PositionZ));
    observer_->rowSaved();
  }

  const platform::AWSDynamoDBObjectMapper mapper_;
  const std::shared_ptr<SessionObserver> observer_;
  std::vector<SceneUnderstandingModel> rows_;
  std::size_t next_ = 0;
};

}  // namespace

void saveDetections(DetectionBatch batch, float threshold, const std::shared_ptr<SessionObserver>& observer) {
  // This comparison keeps objects if the confidence or the threshold is not a number.
  std::erase_if(batch.objects, [threshold](const auto& object) { return object->confidence < threshold; });
  observer->rowsExpected(batch.objects.size());
  std::make_shared<BatchSaver>(batch, observer)->saveNext();
}

}  // namespace geoloom
