#include "platform/com/com_object.h"

#include <array>
#include <gtest/gtest.h>
#include <thread>

class ITestBase : public IUnknown {
 public:
  virtual int Base() = 0;
};
VANTRIX_INTERFACE(ITestBase, 1, 0, 0, {0});

class ITestDerived : public ITestBase {
 public:
  virtual int Derived() = 0;
};
VANTRIX_INTERFACE(ITestDerived, 2, 0, 0, {0});

class ITestOther : public IUnknown {
 public:
  virtual int Other() = 0;
};
VANTRIX_INTERFACE(ITestOther, 3, 0, 0, {0});

class ITestForeign : public IUnknown {};
VANTRIX_INTERFACE(ITestForeign, 4, 0, 0, {0});

namespace Vantra::Platform {
namespace {

class Object final : public ComObject<Implements<ITestDerived, ITestBase>, ITestOther> {
 public:
  explicit Object(int* destroyed) : destroyed_(destroyed) {}
  int Base() override { return 1; }
  int Derived() override { return 2; }
  int Other() override { return 3; }

 private:
  ~Object() override { ++*destroyed_; }

  int* destroyed_;
};

TEST(ComObject, EveryInterfaceAndItsBasesAreReachableFromEveryOther) {
  int destroyed = 0;
  CComPtr<Object> object = MakeCom<Object>(&destroyed);
  CComPtr<ITestBase> base;
  CComPtr<ITestDerived> derived;
  CComPtr<ITestOther> other;
  ASSERT_EQ(object.QueryInterface(&other), S_OK);
  ASSERT_EQ(other.QueryInterface(&derived), S_OK);
  ASSERT_EQ(derived.QueryInterface(&base), S_OK);
  EXPECT_EQ(base->Base(), 1);
  EXPECT_EQ(derived->Derived(), 2);
  EXPECT_EQ(other->Other(), 3);

  CComPtr<IUnknown> identity_of_base;
  CComPtr<IUnknown> identity_of_other;
  ASSERT_EQ(base.QueryInterface(&identity_of_base), S_OK);
  ASSERT_EQ(other.QueryInterface(&identity_of_other), S_OK);
  EXPECT_EQ(identity_of_base.p, identity_of_other.p);
  EXPECT_EQ(identity_of_base.p, static_cast<IUnknown*>(derived.p));
}

TEST(ComObject, AFailedQueryNullsTheResultAndTakesNoReference) {
  int destroyed = 0;
  CComPtr<Object> object = MakeCom<Object>(&destroyed);
  void* result = &destroyed;
  EXPECT_EQ(object->QueryInterface(__uuidof(ITestForeign), &result), E_NOINTERFACE);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(object->QueryInterface(__uuidof(ITestBase), nullptr), E_POINTER);
  EXPECT_EQ(object->AddRef(), 2u);
  EXPECT_EQ(object->Release(), 1u);
}

TEST(ComObject, TheLastReferenceDestroysTheObjectWhicheverThreadDropsIt) {
  int destroyed = 0;
  {
    CComPtr<Object> object = MakeCom<Object>(&destroyed);
    std::array<std::thread, 4> threads;
    for (std::thread& thread : threads) {
      // Each thread has a reference of its own, and drops it at its end.
      thread = std::thread([copy = CComPtr<ITestOther>(object)] {
        for (int i = 0; i < 10000; ++i) {
          copy->AddRef();
          copy->Release();
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(object->AddRef(), 2u);
    EXPECT_EQ(object->Release(), 1u);
  }
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace Vantra::Platform
