#pragma once

// What `ID2D1Properties` does, for objects that keep their values in plain structures.

#include <vantrix/platform/d2d1.h>

#include <limits>
#include <span>
#include <string>
#include <vector>

namespace Vantra::Platform {

// A property of a built-in effect as it is published, and where the effect's structure of values
// keeps it.
struct Property {
  const wchar_t* name;
  D2D1_PROPERTY_TYPE type;
  std::size_t offset;
  // Range of a number, or of each component. Infinite where it is not limited.
  double min = -std::numeric_limits<double>::infinity();
  double max = std::numeric_limits<double>::infinity();
};

// Bytes of a value; 0 for texts and blobs, which have no fixed size.
std::size_t SizeOf(D2D1_PROPERTY_TYPE type);

class PropertyBag {
 public:
  // A value by its index. Texts are a `std::wstring`, blobs a `std::vector<FLOAT>`.
  struct Entry {
    UINT32 index;
    const wchar_t* name;
    D2D1_PROPERTY_TYPE type;
    const void* value;
    // Null for a value that cannot be set.
    const Property* property = nullptr;
    void* writable = nullptr;
    // What stands there at the start.
    const void* initial = nullptr;
  };

  // What the entries point to must outlive the bag.
  void Add(const Entry& entry) { entries_.push_back(entry); }
  // Adds properties with indices from 0, whose values and start values are in structures of one
  // kind.
  void Add(std::span<const Property> properties, void* values, const void* initial);

  // The operations of `ID2D1Properties`.
  UINT32 Count() const { return count_; }
  HRESULT GetName(UINT32 index, PWSTR name, UINT32 count) const;
  UINT32 GetNameLength(UINT32 index) const;
  D2D1_PROPERTY_TYPE GetType(UINT32 index) const;
  UINT32 GetIndex(PCWSTR name) const;
  HRESULT Set(UINT32 index, D2D1_PROPERTY_TYPE type, const BYTE* data, UINT32 size);
  HRESULT Get(UINT32 index, D2D1_PROPERTY_TYPE type, BYTE* data, UINT32 size) const;
  UINT32 GetSize(UINT32 index) const;
  HRESULT GetSubProperties(UINT32 index, ID2D1Properties** properties) const;

 private:
  const Entry* Find(UINT32 index) const;

  std::vector<Entry> entries_;
  UINT32 count_ = 0;
};

// Implements `ID2D1Properties` in a class whose interface has it, by a bag.
template <class Base>
class WithProperties : public Base {
 public:
  UINT32 GetPropertyCount() const override { return properties_.Count(); }
  HRESULT GetPropertyName(UINT32 index, PWSTR name, UINT32 count) const override {
    return properties_.GetName(index, name, count);
  }
  UINT32 GetPropertyNameLength(UINT32 index) const override {
    return properties_.GetNameLength(index);
  }
  D2D1_PROPERTY_TYPE GetType(UINT32 index) const override { return properties_.GetType(index); }
  UINT32 GetPropertyIndex(PCWSTR name) const override { return properties_.GetIndex(name); }
  HRESULT SetValueByName(PCWSTR name, D2D1_PROPERTY_TYPE type, const BYTE* data,
                         UINT32 size) override {
    return SetValue(GetPropertyIndex(name), type, data, size);
  }
  HRESULT SetValue(UINT32 index, D2D1_PROPERTY_TYPE type, const BYTE* data, UINT32 size) override {
    const HRESULT result = properties_.Set(index, type, data, size);
    if (SUCCEEDED(result)) OnPropertySet();
    return result;
  }
  HRESULT GetValueByName(PCWSTR name, D2D1_PROPERTY_TYPE type, BYTE* data,
                         UINT32 size) const override {
    return GetValue(GetPropertyIndex(name), type, data, size);
  }
  HRESULT GetValue(UINT32 index, D2D1_PROPERTY_TYPE type, BYTE* data, UINT32 size) const override {
    return properties_.Get(index, type, data, size);
  }
  UINT32 GetValueSize(UINT32 index) const override { return properties_.GetSize(index); }
  HRESULT GetSubProperties(UINT32 index, ID2D1Properties** properties) const override {
    return properties_.GetSubProperties(index, properties);
  }

 protected:
  // Called after a value was set.
  virtual void OnPropertySet() {}

  PropertyBag properties_;
};

}  // namespace Vantra::Platform
