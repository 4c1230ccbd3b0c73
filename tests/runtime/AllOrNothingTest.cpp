// Memory that runs out in the middle of a mutator: the change is made and everybody is notified, or neither.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Pelm/Node.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Queue.h"
#include "runtime/host/Failure.h"

namespace {

// A value whose copies take memory; `copiesLeft` of them find it.
class Costly {
 public:
   Costly() = default;
   explicit Costly(int number) : number_{number} {}
   Costly(Costly const & other) : number_{other.number_} { pay(); }
   Costly(Costly &&) noexcept = default;
   Costly & operator=(Costly const & other) {
      pay();
      number_ = other.number_;
      return *this;
   }
   Costly & operator=(Costly &&) noexcept = default;
   ~Costly() = default;

   int number() const { return number_; }
   bool operator==(Costly const &) const = default;

   static constexpr int plenty = 1'000'000;
   static int copiesLeft;

 private:
   static void pay() {
      if (copiesLeft == 0)
         throw std::bad_alloc{};
      --copiesLeft;
   }

   int number_ = 0;
};

int Costly::copiesLeft = Costly::plenty;

}  // namespace

template <>
struct std::hash<Costly> {
   std::size_t operator()(Costly const & value) const noexcept {
      return static_cast<std::size_t>(value.number());
   }
};

namespace {

class Store : public Pelm::Node {
 public:
   Vorn::Attribute<Costly, Store> price{*this, "price"};
   void priceIs(Costly value) { price.valueIs(std::move(value)); }
   Vorn::Collection<Costly, Costly, Store> shelf{*this, "shelf"};
   void shelfIs(Costly const & key, Costly value) { shelf.memberIs(key, std::move(value)); }
   void shelfDel(Costly const & key) { shelf.memberDel(key); }
   Vorn::Queue<Costly, Store> order{*this, "order"};
   void orderPush(Costly value) { order.push(std::move(value)); }
   void orderPop() { order.pop(); }
   void orderIs(std::size_t index, Costly value) { order.elementIs(index, std::move(value)); }
   Vorn::Attribute<int, Store> bell{*this, "bell"};
   void bellIs(int value) { bell.valueIs(value); }

   // The contents of the store as text.
   std::string contents() const {
      std::string text = std::to_string(price().number()) + ":";
      for (auto const & [key, value] : shelf)
         text += " " + std::to_string(key.number()) + "=" + std::to_string(value.number());
      for (Costly const & each : order)
         text += " " + std::to_string(each.number());
      return text;
   }
};

std::string text(Vorn::Change<Costly> const & change) {
   return (change.old ? std::to_string(change.old->number()) : "none") + ">" +
          (change.now ? std::to_string(change.now->number()) : "none");
}

class AllOrNothingTest : public testing::Test {
 protected:
   AllOrNothingTest() {
      reactor_.notifierIs(store_);
      reactor_.on<&AllOrNothingTest::handlePrice>(store_->price, *this);
      reactor_.on<&AllOrNothingTest::handleShelf>(store_->shelf, *this);
      reactor_.on<&AllOrNothingTest::handleOrder>(store_->order, *this);
      reactor_.hasNotificationActiveIs(true);
      Vorn::Host::failureSinkIs([this](auto const &...) { ++failures_; });
      store_->priceIs(Costly{1});
      store_->shelfIs(Costly{7}, Costly{70});
      store_->orderPush(Costly{5});
      events_.clear();
   }
   ~AllOrNothingTest() override {
      Costly::copiesLeft = Costly::plenty;
      Vorn::Host::failureSinkIs(nullptr);
   }

   // Makes the change with memory for no copy, for one, for two and so on until it succeeds.
   void expectAllOrNothing(std::function<void()> const & change, std::string const & after,
                           std::string const & events) {
      std::string const before = store_->contents();
      int refusals = 0;
      for (;; ++refusals) {
         Costly::copiesLeft = refusals;
         bool const made = attempt(change);
         Costly::copiesLeft = Costly::plenty;
         if (made)
            break;
         ASSERT_EQ(store_->contents(), before) << "with memory for " << refusals << " copies";
         ASSERT_EQ(events_, std::vector<std::string>{}) << "with memory for " << refusals << " copies";
      }
      EXPECT_EQ(store_->contents(), after);
      EXPECT_EQ(events_, std::vector<std::string>{events});
      refusals_ = refusals;
   }

   virtual bool attempt(std::function<void()> const & change) {
      try {
         change();
         return true;
      } catch (std::bad_alloc const &) {
         return false;
      }
   }

   void handlePrice(Vorn::Change<Costly> const & change) { events_.push_back("price " + text(change)); }
   void handleShelf(Costly const & key, Vorn::Change<Costly> const & change) {
      events_.push_back("shelf " + std::to_string(key.number()) + " " + text(change));
   }
   void handleOrder(std::size_t const & index, Vorn::Change<Costly> const & change) {
      events_.push_back("order " + std::to_string(index) + " " + text(change));
   }

   Pelm::Ptr<Store> store_ = Pelm::make<Store>();
   std::vector<std::string> events_;
   int failures_ = 0;
   int refusals_ = 0;  // attempts that found no memory
   Vorn::NotifieeConst reactor_;
};

// The same from within a handler, where a change waits for its turn.
class AllOrNothingQueuedTest : public AllOrNothingTest {
 protected:
   AllOrNothingQueuedTest() {
      bellReactor_.notifierIs(store_);
      bellReactor_.on<&AllOrNothingQueuedTest::handleBell>(store_->bell, *this);
      bellReactor_.hasNotificationActiveIs(true);
   }

   bool attempt(std::function<void()> const & change) override {
      change_ = &change;
      int const failuresBefore = failures_;
      store_->bellIs(store_->bell() + 1);
      return failures_ == failuresBefore;
   }

   void handleBell() { (*change_)(); }

   std::function<void()> const * change_ = nullptr;
   Vorn::NotifieeConst bellReactor_;
};

TEST_F(AllOrNothingTest, WritesAScalarAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->priceIs(Costly{2}); }, "2: 7=70 5", "price 1>2");
   EXPECT_EQ(refusals_, 1) << "the old value is moved";
}

TEST_F(AllOrNothingTest, AddsAMemberAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->shelfIs(Costly{8}, Costly{80}); }, "1: 7=70 8=80 5", "shelf 8 none>80");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingTest, ReplacesAMemberAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->shelfIs(Costly{7}, Costly{71}); }, "1: 7=71 5", "shelf 7 70>71");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingTest, DeletesAMemberAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->shelfDel(Costly{7}); }, "1: 5", "shelf 7 70>none");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingTest, PushesAnElementAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->orderPush(Costly{6}); }, "1: 7=70 5 6", "order 1 none>6");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingTest, ReplacesAnElementAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->orderIs(0, Costly{6}); }, "1: 7=70 6", "order 0 5>6");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingTest, PopsAnElementWithoutACopy) {
   expectAllOrNothing([&] { store_->orderPop(); }, "1: 7=70", "order 0 5>none");
   EXPECT_EQ(refusals_, 0);
}

TEST_F(AllOrNothingTest, CopiesNothingWithoutASubscriber) {
   reactor_.notifierIs(nullptr);
   Costly::copiesLeft = 0;
   store_->priceIs(Costly{2});
   store_->orderPush(Costly{6});
   store_->orderIs(0, Costly{4});
   Costly::copiesLeft = 1;  // for the key
   store_->shelfIs(Costly{8}, Costly{80});
   EXPECT_EQ(store_->contents(), "2: 7=70 8=80 4 6");
}

TEST_F(AllOrNothingQueuedTest, WritesAScalarAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->priceIs(Costly{2}); }, "2: 7=70 5", "price 1>2");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingQueuedTest, AddsAMemberAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->shelfIs(Costly{8}, Costly{80}); }, "1: 7=70 8=80 5", "shelf 8 none>80");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingQueuedTest, ReplacesAMemberAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->shelfIs(Costly{7}, Costly{71}); }, "1: 7=71 5", "shelf 7 70>71");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingQueuedTest, DeletesAMemberAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->shelfDel(Costly{7}); }, "1: 5", "shelf 7 70>none");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingQueuedTest, PushesAnElementAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->orderPush(Costly{6}); }, "1: 7=70 5 6", "order 1 none>6");
   EXPECT_GT(refusals_, 0);
}

TEST_F(AllOrNothingQueuedTest, ReplacesAnElementAndNotifiesOrNeither) {
   expectAllOrNothing([&] { store_->orderIs(0, Costly{6}); }, "1: 7=70 6", "order 0 5>6");
   EXPECT_GT(refusals_, 0);
}

}  // namespace
