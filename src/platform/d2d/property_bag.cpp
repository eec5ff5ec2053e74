#include "platform/d2d/property_bag.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <cwchar>

#include "platform/com/com_object.h"

namespace Vantra::Platform {
namespace {

constexpr HRESULT kInsufficientBuffer = HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);

std::span<const std::byte> BytesOf(const PropertyBag::Entry& entry) {
  if (entry.type == D2D1_PROPERTY_TYPE_STRING) {
    const auto& text = *static_cast<const std::wstring*>(entry.value);
    return std::as_bytes(std::span(text.c_str(), text.size() + 1));
  }
  if (entry.type == D2D1_PROPERTY_TYPE_BLOB) {
    return std::as_bytes(std::span(*static_cast<const std::vector<FLOAT>*>(entry.value)));
  }
  return {static_cast<const std::byte*>(entry.value), SizeOf(entry.type)};
}

bool InRange(const Property& property, double value) {
  return std::isfinite(value) && value >= property.min && value <= property.max;
}

// Whether `size` bytes are a value that the property takes.
bool IsValid(const Property& property, const BYTE* data, UINT32 size) {
  const auto all = [&]<class T>(T value) {
    for (UINT32 i = 0; i + sizeof(T) <= size; i += sizeof(T)) {
      std::memcpy(&value, data + i, sizeof(T));
      if (!InRange(property, static_cast<double>(value))) return false;
    }
    return true;
  };
  switch (property.type) {
    case D2D1_PROPERTY_TYPE_BLOB:
      return size != 0 && size % sizeof(FLOAT) == 0 && all(FLOAT{});
    case D2D1_PROPERTY_TYPE_UINT32:
    case D2D1_PROPERTY_TYPE_ENUM:
      return size == SizeOf(property.type) && all(UINT32{});
    case D2D1_PROPERTY_TYPE_BOOL:
      return size == SizeOf(property.type);
    default:
      return size == SizeOf(property.type) && all(FLOAT{});
  }
}

// What is told of one property.
class SubProperties2D final : public WithProperties<ComObject<ID2D1Properties>> {
 public:
  explicit SubProperties2D(const PropertyBag::Entry& entry) : name_(entry.name) {
    const Property& property = *entry.property;
    properties_.Add(
        {D2D1_SUBPROPERTY_DISPLAYNAME, L"DisplayName", D2D1_PROPERTY_TYPE_STRING, &name_});
    properties_.Add(
        {D2D1_SUBPROPERTY_ISREADONLY, L"IsReadOnly", D2D1_PROPERTY_TYPE_BOOL, &read_only_});
    if (std::isfinite(property.max)) {
      // Numbers, and vectors and matrices of equal components.
      const auto fill = [&property](Bound& bound, double value) {
        bound.fill(static_cast<FLOAT>(value));
        if (property.type == D2D1_PROPERTY_TYPE_UINT32 ||
            property.type == D2D1_PROPERTY_TYPE_ENUM) {
          const auto number = static_cast<UINT32>(value);
          std::memcpy(bound.data(), &number, sizeof(number));
        }
      };
      fill(min_, property.min);
      fill(max_, property.max);
      properties_.Add({D2D1_SUBPROPERTY_MIN, L"Min", property.type, min_.data()});
      properties_.Add({D2D1_SUBPROPERTY_MAX, L"Max", property.type, max_.data()});
    }
    properties_.Add({D2D1_SUBPROPERTY_DEFAULT, L"Default", property.type, entry.initial});
  }

 private:
  // As many as the largest value has, a matrix of 5 by 4.
  using Bound = std::array<FLOAT, 20>;

  std::wstring name_;
  BOOL read_only_ = FALSE;
  Bound min_ = {};
  Bound max_ = {};
};

}  // namespace

std::size_t SizeOf(D2D1_PROPERTY_TYPE type) {
  switch (type) {
    case D2D1_PROPERTY_TYPE_BOOL:
    case D2D1_PROPERTY_TYPE_UINT32:
    case D2D1_PROPERTY_TYPE_INT32:
    case D2D1_PROPERTY_TYPE_FLOAT:
    case D2D1_PROPERTY_TYPE_ENUM:
      return 4;
    case D2D1_PROPERTY_TYPE_VECTOR2:
      return sizeof(D2D1_VECTOR_2F);
    case D2D1_PROPERTY_TYPE_CLSID:
      return sizeof(GUID);
    case D2D1_PROPERTY_TYPE_MATRIX_4X4:
      return sizeof(D2D1_MATRIX_4X4_F);
    case D2D1_PROPERTY_TYPE_MATRIX_5X4:
      return sizeof(D2D1_MATRIX_5X4_F);
    case D2D1_PROPERTY_TYPE_UNKNOWN:
    case D2D1_PROPERTY_TYPE_STRING:
    case D2D1_PROPERTY_TYPE_BLOB:
      break;
  }
  return 0;
}

void PropertyBag::Add(std::span<const Property> properties, void* values, const void* initial) {
  for (const Property& property : properties) {
    void* value = static_cast<std::byte*>(values) + property.offset;
    Add({count_++, property.name, property.type, value, &property, value,
         static_cast<const std::byte*>(initial) + property.offset});
  }
}

const PropertyBag::Entry* PropertyBag::Find(UINT32 index) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [index](const Entry& entry) { return entry.index == index; });
  return found == entries_.end() ? nullptr : &*found;
}

HRESULT PropertyBag::GetName(UINT32 index, PWSTR name, UINT32 count) const {
  const Entry* entry = Find(index);
  if (!entry) return D2DERR_INVALID_PROPERTY;
  if (!name || count <= std::wcslen(entry->name)) return kInsufficientBuffer;
  std::wcscpy(name, entry->name);
  return S_OK;
}

UINT32 PropertyBag::GetNameLength(UINT32 index) const {
  const Entry* entry = Find(index);
  return entry ? static_cast<UINT32>(std::wcslen(entry->name)) : 0;
}

D2D1_PROPERTY_TYPE PropertyBag::GetType(UINT32 index) const {
  const Entry* entry = Find(index);
  return entry ? entry->type : D2D1_PROPERTY_TYPE_UNKNOWN;
}

UINT32 PropertyBag::GetIndex(PCWSTR name) const {
  for (const Entry& entry : entries_) {
    if (name && std::wcscmp(name, entry.name) == 0) return entry.index;
  }
  return D2D1_INVALID_PROPERTY_INDEX;
}

HRESULT PropertyBag::Set(UINT32 index, D2D1_PROPERTY_TYPE type, const BYTE* data, UINT32 size) {
  const Entry* entry = Find(index);
  if (!entry) return D2DERR_INVALID_PROPERTY;
  if (!entry->writable || !data || (type != D2D1_PROPERTY_TYPE_UNKNOWN && type != entry->type) ||
      !IsValid(*entry->property, data, size)) {
    return E_INVALIDARG;
  }
  if (entry->type == D2D1_PROPERTY_TYPE_BLOB) {
    try {
      std::vector<FLOAT> values(size / sizeof(FLOAT));
      std::memcpy(values.data(), data, size);
      *static_cast<std::vector<FLOAT>*>(entry->writable) = std::move(values);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
  } else {
    std::memcpy(entry->writable, data, size);
  }
  return S_OK;
}

HRESULT PropertyBag::Get(UINT32 index, D2D1_PROPERTY_TYPE type, BYTE* data, UINT32 size) const {
  const Entry* entry = Find(index);
  if (!entry) return D2DERR_INVALID_PROPERTY;
  if (!data || (type != D2D1_PROPERTY_TYPE_UNKNOWN && type != entry->type)) return E_INVALIDARG;
  const std::span<const std::byte> bytes = BytesOf(*entry);
  const bool fixed = SizeOf(entry->type) != 0;
  if (fixed && size != bytes.size()) return E_INVALIDARG;
  if (size < bytes.size()) return kInsufficientBuffer;
  std::memcpy(data, bytes.data(), bytes.size());
  return S_OK;
}

UINT32 PropertyBag::GetSize(UINT32 index) const {
  const Entry* entry = Find(index);
  return entry ? static_cast<UINT32>(BytesOf(*entry).size()) : 0;
}

HRESULT PropertyBag::GetSubProperties(UINT32 index, ID2D1Properties** properties) const {
  if (properties) *properties = nullptr;
  const Entry* entry = Find(index);
  if (!entry) return D2DERR_INVALID_PROPERTY;
  if (!entry->property) return D2DERR_NO_SUBPROPERTIES;
  if (!properties) return E_POINTER;
  *properties = MakeCom<SubProperties2D>(*entry).Detach();
  return *properties ? S_OK : E_OUTOFMEMORY;
}

}  // namespace Vantra::Platform
