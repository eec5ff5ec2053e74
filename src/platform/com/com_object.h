#pragma once

/// Reference counting and `QueryInterface`, written once for every object of the layer.
///
/// An object names the interfaces that it has. One that extends others is wrapped in `Implements`
/// with those others, since each of them must be answered too:
///
///     class Bitmap final
///         : public ComObject<Implements<ID2D1Bitmap1, ID2D1Bitmap, ID2D1Image, ID2D1Resource>,
///                            IDXGISurface> { ... };
///     CComPtr<Bitmap> bitmap = MakeCom<Bitmap>(size);
///     if (!bitmap) return E_OUTOFMEMORY;

#include <vantrix/platform/com.h>

#include <atomic>
#include <new>
#include <utility>

namespace Vantra::Platform {

/// `Interface` and those of its bases that it answers for; `IUnknown` goes without saying.
template <class Interface, class... Bases>
struct Implements {
  using Type = Interface;

  /// The interface of `object` that `iid` names, or null.
  static void* Find(Interface* object, REFIID iid) {
    void* found = nullptr;
    if (iid == __uuidof(Interface)) found = object;
    ((found == nullptr && iid == __uuidof(Bases) ? void(found = static_cast<Bases*>(object))
                                                 : void()),
     ...);
    return found;
  }
};

namespace Detail {

template <class Interface>
struct Implementation : Implements<Interface> {};

template <class Interface, class... Bases>
struct Implementation<Implements<Interface, Bases...>> : Implements<Interface, Bases...> {};

}  // namespace Detail

/// Base of an object with the given interfaces. The object starts with one reference and deletes
/// itself with the last; `AddRef` and `Release` may be called from any thread. The first interface
/// is the object's identity: it is what a query for `IUnknown` answers.
template <class First, class... Others>
class ComObject : public Detail::Implementation<First>::Type,
                  public Detail::Implementation<Others>::Type... {
 public:
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT QueryInterface(REFIID iid, void** object) final {
    if (object == nullptr) return E_POINTER;
    *object = Find(iid);
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }

  ULONG AddRef() final { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }

  ULONG Release() final {
    // The thread that drops the last reference must see what the others wrote before dropping
    // theirs.
    const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

 protected:
  ComObject() = default;
  virtual ~ComObject() = default;

 private:
  template <class Entry>
  void* FindIn(REFIID iid) {
    return Detail::Implementation<Entry>::Find(this, iid);
  }

  void* Find(REFIID iid) {
    using Identity = typename Detail::Implementation<First>::Type;
    if (iid == __uuidof(IUnknown)) {
      return static_cast<IUnknown*>(static_cast<Identity*>(this));
    }
    void* found = FindIn<First>(iid);
    ((found == nullptr ? void(found = FindIn<Others>(iid)) : void()), ...);
    return found;
  }

  std::atomic<ULONG> references_{1};
};

/// Makes an object and gives its first reference to the result, which is empty when there is no
/// memory for it.
template <class T, class... Arguments>
[[nodiscard]] CComPtr<T> MakeCom(Arguments&&... arguments) {
  CComPtr<T> object;
  object.Attach(new (std::nothrow) T(std::forward<Arguments>(arguments)...));
  return object;
}

}  // namespace Vantra::Platform
