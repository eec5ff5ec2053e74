#include <vantrix/device/device.h>

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Vantra {
namespace {

using Log = std::vector<std::string>;

class FakeContext final : public ResourceContext {
 public:
  FakeContext(std::string name, Log& log, bool independent, bool creates)
      : name_(std::move(name)), log_(log), independent_(independent), creates_(creates) {}
  ~FakeContext() override { log_.push_back(name_ + " freed"); }

  bool IsDeviceIndependent() override { return independent_; }
  bool Create(ResourceBase* resource) override {
    Link(resource);
    log_.push_back(name_ + " created");
    return creates_;
  }
  void Destroy() override { log_.push_back(name_ + " destroyed"); }
  bool Restore() override {
    log_.push_back(name_ + " restored");
    if (on_restore) on_restore();
    return creates_;
  }

  std::function<void()> on_restore;

 private:
  std::string name_;
  Log& log_;
  bool independent_;
  bool creates_;
};

class FakeResource final : public ResourceBase {
 public:
  FakeResource(std::string name, Log& log) : name_(std::move(name)), log_(log) {}

  bool independent = false;
  bool creates = true;

  FakeContext& Fake() { return dynamic_cast<FakeContext&>(*GetContext()); }

 private:
  Context* OnCreate() override {
    return new FakeContext(name_ + std::to_string(++made_), log_, independent, creates);
  }
  void OnDestroy() override { log_.push_back(name_ + " OnDestroy"); }

  std::string name_;
  Log& log_;
  int made_ = 0;
};

class ResourceContexts : public ::testing::Test {
 protected:
  ResourceFactory& Registry() { return device_.GetContext()->GetResourceFactory(); }
  // The steps since the last call.
  Log Steps() { return std::exchange(log_, {}); }

  Log log_;
  Device device_;
};

TEST_F(ResourceContexts, CreateRegistersAndCreateAgainReplacesTheContext) {
  FakeResource a("a", log_);
  EXPECT_TRUE(a.IsEmpty());
  EXPECT_TRUE(a.Create(&device_));
  EXPECT_FALSE(a.IsEmpty());
  const ResourceContext* first = &a.Fake();
  EXPECT_TRUE(Registry().Contains(first));
  EXPECT_EQ(a.GetDevice(), &device_);
  EXPECT_EQ(a.GetDeviceContext(), device_.GetContext());

  EXPECT_TRUE(a.Create(&device_));
  EXPECT_EQ(Steps(), (Log{"a1 created", "a1 destroyed", "a1 freed", "a2 created"}));
  Registry().RestoreAll();
  EXPECT_EQ(Steps(), Log{"a2 restored"});
}

TEST_F(ResourceContexts, AContextThatCannotBeMadeStaysAttachedAndUnregistered) {
  FakeResource a("a", log_);
  a.creates = false;
  EXPECT_FALSE(a.Create(&device_));
  EXPECT_FALSE(a.IsEmpty());
  EXPECT_FALSE(Registry().Contains(&a.Fake()));

  FakeResource b("b", log_);
  b.independent = true;
  EXPECT_TRUE(b.Create(&device_));
  EXPECT_FALSE(Registry().Contains(&b.Fake()));
}

TEST_F(ResourceContexts, DestroyTearsDownOnceAndAlwaysCallsTheHook) {
  FakeResource a("a", log_);
  a.Destroy();
  EXPECT_EQ(Steps(), Log{"a OnDestroy"});
  a.Create(&device_);
  a.Destroy();
  EXPECT_EQ(Steps(), (Log{"a1 created", "a1 destroyed", "a1 freed", "a OnDestroy"}));
  EXPECT_TRUE(a.IsEmpty());
  {
    FakeResource b("b", log_);
    b.Create(&device_);
  }
  EXPECT_EQ(Steps(), (Log{"b1 created", "b1 destroyed", "b1 freed"}));
  Registry().RestoreAll();
  EXPECT_EQ(Steps(), Log{});
}

TEST_F(ResourceContexts, ALossWalksAllContextsInOrderWhateverTheyReturn) {
  FakeResource a("a", log_), b("b", log_), c("c", log_);
  for (FakeResource* each : {&b, &a, &c}) each->Create(&device_);
  Steps();
  Registry().DiscardAll();
  EXPECT_EQ(Steps(), (Log{"b1 destroyed", "a1 destroyed", "c1 destroyed"}));
  // One that removes itself and its neighbour while it is restored does not upset the walk.
  b.Fake().on_restore = [&] { a.Destroy(); };
  Registry().RestoreAll();
  EXPECT_EQ(Steps(),
            (Log{"b1 restored", "a1 destroyed", "a1 freed", "a OnDestroy", "c1 restored"}));
}

TEST_F(ResourceContexts, CleanupCutsTheLinkAndLaterCallsTouchNothing) {
  FakeResource a("a", log_);
  a.Create(&device_);
  Steps();
  device_.Cleanup();
  EXPECT_EQ(Steps(), Log{"a1 destroyed"});
  EXPECT_EQ(a.Fake().GetDeviceContext(), nullptr);
  device_.Cleanup();
  EXPECT_EQ(Steps(), Log{});
  a.Destroy();
  EXPECT_EQ(Steps(), (Log{"a1 freed", "a OnDestroy"}));
}

TEST(ResourceLifetime, AResourceMayOutliveADeviceThatWasNeverCleanedUp) {
  Log log;
  FakeResource a("a", log);
  {
    Device device;
    a.Create(&device);
  }
  a.Destroy();
  EXPECT_EQ(log, (Log{"a1 created", "a1 destroyed", "a1 freed", "a OnDestroy"}));
}

}  // namespace
}  // namespace Vantra
