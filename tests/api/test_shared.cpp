#include <gtest/gtest.h>

#include <memory>

#include "api/shared.h"

namespace {

// Records its own destruction in a flag the test owns.
class Tracked : public zel::Deletable {
 public:
  explicit Tracked(bool& destroyed) : destroyed(destroyed) {}
  ~Tracked() override { destroyed = true; }
  void deleteHeld() override {}

 private:
  bool& destroyed;
};

// Handles of one name share one value-initialised object.
TEST(SharedPtr, SameNameSharesOneObject) {
  zel::shared_ptr<int> first("shared_test_same", true);
  zel::shared_ptr<int> second("shared_test_same", true);
  zel::shared_ptr<int> other("shared_test_other", true);
  ASSERT_TRUE(first.isValid() && second.isValid() && other.isValid());
  EXPECT_TRUE(first.isCreator);
  EXPECT_FALSE(second.isCreator);
  EXPECT_EQ(*first, 0);  // value-initialised

  EXPECT_EQ(first.get(), second.get());
  *first = 17;
  EXPECT_EQ(*second, 17);
  EXPECT_NE(other.get(), first.get());
  EXPECT_EQ(*other, 0);
}

// The last handle destroys the object and frees the name.
TEST(SharedPtr, LastHandleDestroysTheObject) {
  bool destroyed = false;
  auto first = std::make_unique<zel::shared_ptr_base>("shared_test_last", new Tracked(destroyed));
  auto second = std::make_unique<zel::shared_ptr_base>("shared_test_last");
  EXPECT_EQ(zel::shared_ptr_base::openHandles("shared_test_last"), 2);
  EXPECT_EQ(first->object, second->object);
  EXPECT_EQ(first->object->refCount, 3);  // two handles and the named slot

  first.reset();
  EXPECT_FALSE(destroyed);
  EXPECT_EQ(zel::shared_ptr_base::openHandles("shared_test_last"), 1);
  second.reset();
  EXPECT_TRUE(destroyed);
  EXPECT_EQ(zel::shared_ptr_base::openHandles("shared_test_last"), 0);
  // The slot went with its last handle: the next one starts afresh.
  zel::shared_ptr_base again("shared_test_last");
  EXPECT_TRUE(again.isCreator);
  EXPECT_EQ(again.object, nullptr);
  EXPECT_EQ(zel::shared_ptr_base::openHandles("shared_test_never_opened"), 0);
}

// The "interactive" flag exists from load and is shared.
TEST(SharedPtr, InteractiveFlagExistsFromLoad) {
  EXPECT_GE(zel::shared_ptr_base::openHandles("interactive"), 1);
  ASSERT_TRUE(zel::interactive().isValid());
  EXPECT_FALSE(*zel::interactive());

  zel::shared_ptr<bool> elsewhere("interactive", true);
  EXPECT_FALSE(elsewhere.isCreator);
  EXPECT_EQ(elsewhere.get(), zel::interactive().get());
}

// An object published by a handle that has gone stays alive while the name is
// open elsewhere, and a newcomer still finds it.
TEST(SharedPtr, PublishedObjectOutlivesThePublisher) {
  bool xGone = false, yGone = false;
  auto a = std::make_unique<zel::shared_ptr_base>("shared_test_outlive", new Tracked(xGone));
  auto b = std::make_unique<zel::shared_ptr_base>("shared_test_outlive");
  auto* y = new Tracked(yGone);
  a->set(y);
  a.reset();
  EXPECT_FALSE(yGone);
  EXPECT_FALSE(xGone);  // b still holds the old object
  {
    zel::shared_ptr_base c("shared_test_outlive");
    EXPECT_EQ(c.object, y);
  }
  b.reset();
  EXPECT_TRUE(xGone);
  EXPECT_TRUE(yGone);
}

// An object offered by a late comer is freed; the first one stays.
TEST(SharedPtr, ObjectOfferedByALateComerIsFreed) {
  bool firstGone = false, offeredGone = false;
  zel::shared_ptr_base creator("shared_test_offer", new Tracked(firstGone));
  zel::shared_ptr_base late("shared_test_offer", new Tracked(offeredGone));
  EXPECT_TRUE(offeredGone);
  EXPECT_EQ(late.object, creator.object);
  EXPECT_FALSE(firstGone);
}

}  // namespace
