#include "platform/resources/resource.h"

#include <vantrix/platform/resources.h>

#include <algorithm>

namespace {

// Numbers below this are numbers, not addresses, where a name is asked for.
constexpr std::uintptr_t kFirstAddress = 0x10000;

// Whether `name`, in any case, stands before, at or after an entry's name in the table's order.
int Compare(std::string_view entry, const wchar_t* name) {
  for (const char stored : entry) {
    wchar_t wanted = *name++;
    if (wanted >= L'a' && wanted <= L'z') wanted -= L'a' - L'A';
    if (wanted != static_cast<wchar_t>(stored)) {
      return static_cast<wchar_t>(stored) < wanted ? -1 : 1;
    }
  }
  return *name == 0 ? 0 : -1;
}

}  // namespace

std::vector<Vantra::Platform::StoredResource> Vantra::Platform::ListResources() {
  std::vector<StoredResource> list;
  for (const ResourceEntry& entry : GetResourceTable()) {
    list.push_back(
        {std::string(entry.name), entry.begin, static_cast<std::size_t>(entry.end - entry.begin)});
  }
  return list;
}

HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type) {
  if (module != nullptr || type != RT_RCDATA) return nullptr;
  if (reinterpret_cast<std::uintptr_t>(name) < kFirstAddress) return nullptr;
  const std::span<const ResourceEntry> all = Vantra::Platform::GetResourceTable();
  const auto found = std::lower_bound(
      all.begin(), all.end(), name,
      [](const ResourceEntry& entry, LPCWSTR key) { return Compare(entry.name, key) < 0; });
  if (found == all.end() || Compare(found->name, name) != 0) return nullptr;
  return &*found;
}

DWORD SizeofResource(HMODULE module, HRSRC resource) {
  if (module != nullptr || resource == nullptr) return 0;
  return static_cast<DWORD>(resource->end - resource->begin);
}

HGLOBAL LoadResource(HMODULE module, HRSRC resource) {
  if (module != nullptr || resource == nullptr) return nullptr;
  return resource->begin;
}

const void* LockResource(HGLOBAL data) { return data; }
