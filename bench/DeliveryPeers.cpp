#include "DeliveryPeers.h"

namespace Bench {

namespace {

class Adder final : public Listener {
 public:
   void handleLevel(int, int now) override { level_ = now; }
   int level() const override { return level_; }

 private:
   int level_ = 0;
};

}  // namespace

GaugeReactor::GaugeReactor(Pelm::Ptr<Gauge> const & gauge) {
   reactor_.notifierIs(gauge);
   reactor_.on<&GaugeReactor::handleLevel>(gauge->level, *this);
   reactor_.hasNotificationActiveIs(true);
}

void GaugeReactor::handleLevel(Vorn::Change<int> const & change) {
   level_ = *change.now;
}

std::unique_ptr<Listener> makeListener() {
   return std::make_unique<Adder>();
}

SlotOwner::SlotOwner(SignallingGauge & gauge) {
   gauge.levelChanged.connect(sigc::mem_fun(*this, &SlotOwner::handleLevel));
}

void SlotOwner::handleLevel(int, int now) {
   level_ = now;
}

}  // namespace Bench
