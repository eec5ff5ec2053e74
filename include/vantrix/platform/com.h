#pragma once

/// The base of the platform contract: scalar types, result codes, identifiers, reference-counted
/// interfaces, streams and module resources, under the names and with the values that the platform
/// publishes. `wchar_t` has 32 bits here and `long` 64, so the fixed-width names are spelled out.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using INT = std::int32_t;
using INT32 = std::int32_t;
using UINT = std::uint32_t;
using UINT32 = std::uint32_t;
using UINT64 = std::uint64_t;
using FLOAT = float;
using WCHAR = wchar_t;
using LPCWSTR = const wchar_t*;
using PCWSTR = const wchar_t*;
using PWSTR = wchar_t*;
using LPVOID = void*;

#ifndef FALSE
#define FALSE 0
#define TRUE 1
#endif

struct POINT {
  LONG x;
  LONG y;
};

struct RECT {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
};

struct D3DCOLORVALUE {
  float r;
  float g;
  float b;
  float a;
};

/// Result of a platform call: negative values are failures.
using HRESULT = std::int32_t;

constexpr bool SUCCEEDED(HRESULT result) { return result >= 0; }
constexpr bool FAILED(HRESULT result) { return result < 0; }

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001);
constexpr HRESULT STG_E_ACCESSDENIED = static_cast<HRESULT>(0x80030005);
constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111);

constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;

constexpr HRESULT HRESULT_FROM_WIN32(DWORD error) {
  return error == 0 ? S_OK : static_cast<HRESULT>((error & 0xFFFF) | 0x80070000);
}

/// 128-bit identifier of an interface, a class, an effect or a format.
struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];

  friend constexpr bool operator==(const GUID&, const GUID&) = default;
  friend constexpr auto operator<=>(const GUID&, const GUID&) = default;
};

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

constexpr GUID GUID_NULL{};

constexpr bool IsEqualGUID(REFGUID a, REFGUID b) { return a == b; }

/// Root of every interface. An object lives while it has references; `AddRef` and `Release` return
/// the new count, for diagnostics only.
class IUnknown {
 public:
  /// Stores the interface named by `iid` in `*object`, with one reference for the caller.
  /// Returns `S_OK`; `E_NOINTERFACE` with `*object` null when the object does not have it;
  /// `E_POINTER` when `object` is null.
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  ~IUnknown() = default;
};

/// Binds an interface to its published identifier.
template <class Interface>
struct InterfaceId;

#define VANTRIX_INTERFACE(name, ...)                \
  inline constexpr IID IID_##name = {__VA_ARGS__};  \
  template <>                                       \
  struct InterfaceId<name> {                        \
    static constexpr const IID& value = IID_##name; \
  }

#define __uuidof(type) (InterfaceId<type>::value)

VANTRIX_INTERFACE(IUnknown, 0x00000000, 0x0000, 0x0000,
                  {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46});

/// Expands to the two arguments of a creation call: the identifier of the interface that `out`
/// points to, and `out` as an untyped pointer.
#define IID_PPV_ARGS(out)                                                               \
  InterfaceId<std::remove_pointer_t<std::remove_reference_t<decltype(*(out))>>>::value, \
      reinterpret_cast<void**>(out)

struct LARGE_INTEGER {
  std::int64_t QuadPart;
};

struct ULARGE_INTEGER {
  std::uint64_t QuadPart;
};

enum STREAM_SEEK : DWORD { STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2 };

enum STGTY : DWORD { STGTY_STREAM = 2 };

enum STATFLAG : DWORD { STATFLAG_DEFAULT = 0, STATFLAG_NONAME = 1 };

/// What `IStream::Stat` tells of a stream. The layer fills `type` and `cbSize` only.
struct STATSTG {
  PWSTR pwcsName;
  DWORD type;
  ULARGE_INTEGER cbSize;
};

using VARTYPE = WORD;
constexpr VARTYPE VT_EMPTY = 0;
constexpr VARTYPE VT_BOOL = 11;
constexpr VARTYPE VT_UI1 = 17;
constexpr VARTYPE VT_UI2 = 18;
constexpr VARTYPE VT_UI4 = 19;
/// Added to the type of its elements.
constexpr VARTYPE VT_VECTOR = 0x1000;

using VARIANT_BOOL = std::int16_t;
constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

/// Bytes that belong to the value they are part of.
struct CAUB {
  ULONG cElems;
  BYTE* pElems;
};

/// A value that carries its type: of the published types those that the layer gives.
struct PROPVARIANT {
  VARTYPE vt;
  WORD wReserved1;
  WORD wReserved2;
  WORD wReserved3;
  union {
    BYTE bVal;             // VT_UI1
    WORD uiVal;            // VT_UI2
    ULONG ulVal;           // VT_UI4
    VARIANT_BOOL boolVal;  // VT_BOOL
    CAUB caub;             // VT_VECTOR | VT_UI1
  };
};

/// Makes `*value` an empty one, whatever it held.
inline void PropVariantInit(PROPVARIANT* value) { *value = PROPVARIANT{}; }

/// Frees what the value owns and leaves it empty. Every value that the layer gave is passed to this
/// once it is of no more use. `S_OK`, or `E_INVALIDARG` with the value untouched for a type that
/// the layer does not give.
inline HRESULT PropVariantClear(PROPVARIANT* value) {
  switch (value->vt) {
    case VT_EMPTY:
    case VT_BOOL:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
      break;
    case VT_VECTOR | VT_UI1:
      std::free(value->caub.pElems);
      break;
    default:
      return E_INVALIDARG;
  }
  PropVariantInit(value);
  return S_OK;
}

constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;

class ISequentialStream : public IUnknown {
 public:
  /// Reads up to `size` bytes into `buffer` and stores the number read in `*read`, if given.
  /// Returns `S_OK` when all were read, `S_FALSE` or `S_OK` with a smaller count at the end of the
  /// data, or a failure.
  virtual HRESULT Read(void* buffer, ULONG size, ULONG* read) = 0;
  virtual HRESULT Write(const void* buffer, ULONG size, ULONG* written) = 0;

 protected:
  ~ISequentialStream() = default;
};
VANTRIX_INTERFACE(ISequentialStream, 0x0C733A30, 0x2A1C, 0x11CE,
                  {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D});

/// A seekable stream of bytes. A host may implement it to feed pictures to the library.
class IStream : public ISequentialStream {
 public:
  /// Moves the position by `move` from `origin` (a `STREAM_SEEK` value) and stores the new
  /// position in `*position`, if given. A position before the start is `STG_E_INVALIDFUNCTION`.
  virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* position) = 0;
  virtual HRESULT SetSize(ULARGE_INTEGER size) = 0;
  virtual HRESULT Commit(DWORD flags) = 0;
  /// Fills `*statistics`; `flag` is a `STATFLAG` value.
  virtual HRESULT Stat(STATSTG* statistics, DWORD flag) = 0;

 protected:
  ~IStream() = default;
};
VANTRIX_INTERFACE(IStream, 0x0000000C, 0x0000, 0x0000,
                  {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46});

/// Owning pointer to an interface. It does not throw.
template <class T>
class CComPtr {
 public:
  CComPtr() = default;
  CComPtr(std::nullptr_t) {}
  CComPtr(T* pointer) : p(pointer) { AddRef(); }
  CComPtr(const CComPtr& other) : p(other.p) { AddRef(); }
  CComPtr(CComPtr&& other) noexcept : p(std::exchange(other.p, nullptr)) {}
  ~CComPtr() { Release(); }

  CComPtr& operator=(T* pointer) {
    CComPtr(pointer).Swap(*this);
    return *this;
  }
  CComPtr& operator=(const CComPtr& other) {
    CComPtr(other).Swap(*this);
    return *this;
  }
  CComPtr& operator=(CComPtr&& other) noexcept {
    CComPtr(std::move(other)).Swap(*this);
    return *this;
  }

  operator T*() const { return p; }
  T* operator->() const { return p; }
  T& operator*() const { return *p; }
  /// Address to receive a new reference; the pointer must be empty.
  T** operator&() { return &p; }

  /// Drops the reference, if there is one.
  void Release() {
    if (T* old = std::exchange(p, nullptr)) old->Release();
  }
  /// Takes over a reference that the caller owns.
  void Attach(T* pointer) {
    Release();
    p = pointer;
  }
  /// Gives the reference to the caller.
  [[nodiscard]] T* Detach() { return std::exchange(p, nullptr); }
  void Swap(CComPtr& other) noexcept { std::swap(p, other.p); }

  template <class Q>
  HRESULT QueryInterface(Q** out) const {
    return p->QueryInterface(IID_PPV_ARGS(out));
  }

  T* p = nullptr;

 private:
  void AddRef() const {
    if (p) p->AddRef();
  }
};

/// Handle of the library's own module. Null stands for it everywhere a module is asked for.
using HMODULE = struct ModuleHandle*;
using HINSTANCE = HMODULE;
/// Handle of a window. This system has none: only null is valid.
using HWND = struct WindowHandle*;
using HRSRC = const struct ResourceEntry*;
using HGLOBAL = const void*;

/// Turns a number into the form in which resource names and types are passed.
inline LPCWSTR MAKEINTRESOURCEW(WORD number) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): names and numbers share one parameter.
  return reinterpret_cast<LPCWSTR>(static_cast<std::uintptr_t>(number));
}
/// The resource type of all stored shaders and images.
inline const LPCWSTR RT_RCDATA = MAKEINTRESOURCEW(10);

/// Finds a resource of the library by name, case ignored. Null when there is none of that name and
/// type, or when `module` is not null.
HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
/// Size of a resource in bytes; 0 for null.
DWORD SizeofResource(HMODULE module, HRSRC resource);
/// Brings a resource into memory; null for null. The bytes are owned by the library and stay valid
/// for its lifetime.
HGLOBAL LoadResource(HMODULE module, HRSRC resource);
/// Address of the first byte; null for null.
const void* LockResource(HGLOBAL data);

/// Makes an object of a registered class. The one class of the layer is `CLSID_WICImagingFactory2`;
/// `outer` must be null. Returns `CLASS_E_CLASSNOTAVAILABLE` for any other.
constexpr DWORD CLSCTX_INPROC_SERVER = 1;
HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid,
                         void** object);
