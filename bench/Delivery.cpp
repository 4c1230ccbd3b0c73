// One change of an attribute, delivered to one subscriber. Its floor is an opaque virtual call of the same
// work, its peer the emission of a signal of sigc++ to one slot.
#include <stdexcept>

#include "DeliveryPeers.h"
#include "Ratio.h"

namespace {

constexpr int changesPerRound = 50'000;

// Writes new values; `change` is the mutator, `notified` the value that the subscriber has received.
template <class Change, class Notified>
Bench::Contender contender(Change change, Notified notified) {
   constexpr int checked = 1000;
   int value = 0;
   while (value < checked) {
      change(++value);
      if (notified() != value)
         throw std::runtime_error("a change was not delivered before its mutator returned");
   }
   return [change, value]() mutable {
      int const first = value;
      value += changesPerRound;
      return Bench::secondsOf([&, last = value] {
                for (int now = first + 1; now <= last; ++now)
                   change(now);
             }) /
             changesPerRound;
   };
}

}  // namespace

int main() {
   auto const gauge = Pelm::make<Bench::Gauge>();
   auto const reactor = Pelm::make<Bench::GaugeReactor>(gauge);
   auto const listener = Bench::makeListener();
   Bench::ListenedGauge listened{*listener};
   Bench::SignallingGauge signalling;
   Bench::SlotOwner const slotOwner{signalling};

   enum : std::size_t { ours, sameWork, bareCall, signal };
   auto const rounds = Bench::compete(
       {
           contender([&](int value) { gauge->levelIs(value); }, [&] { return reactor->level(); }),
           contender([&](int value) { listened.levelIs(value); }, [&] { return listener->level(); }),
           contender([&](int value) { listener->handleLevel(value - 1, value); },
                     [&] { return listener->level(); }),
           contender([&](int value) { signalling.levelIs(value); }, [&] { return slotOwner.level(); }),
       },
       1001);

   Bench::Report report;
   report.claim("delivery: one change, beside a virtual call", rounds, ours, sameWork, 4.5);
   report.claim("delivery: one change, beside a signal of sigc++", rounds, ours, signal, 1.0 / 3);
   Bench::Report::note("delivery: one change, beside the virtual call alone", rounds, ours, bareCall);
   return report.exitCode();
}
