#pragma once

/// Resources and contexts: how the library's objects survive the loss of the graphics device.
///
/// A `ResourceBase` is what the host keeps: the description of a thing in plain memory. Its
/// `Context` holds the live platform objects that were built from that description, and can be
/// dropped and rebuilt at any moment. All of this belongs to the one thread that drives the device.

#include <vantrix/export.h>

#include <list>
#include <memory>

namespace Vantra {

class Device;
class DeviceContext;
class ResourceBase;

/// Base of everything that a resource can have attached.
class VANTRIX_API Context {
 public:
  Context() = default;
  /// Copying and assigning copy nothing.
  Context(const Context&) {}
  Context& operator=(const Context&) { return *this; }
  virtual ~Context();
};

/// The live platform objects of one resource.
class VANTRIX_API ResourceContext : public Context {
 public:
  ~ResourceContext() override;

  /// True when the context holds only objects that survive the loss of the device. Such a context
  /// is never registered with the device.
  virtual bool IsDeviceIndependent() = 0;
  /// Stores the links to `resource` and its device context, and builds the platform objects.
  /// Returns false when they cannot be made.
  virtual bool Create(ResourceBase* resource) = 0;
  /// Releases the platform objects. Does nothing on a context that holds none.
  virtual void Destroy() = 0;
  /// Builds the platform objects again from the linked resource. Called after `Discard`.
  virtual bool Restore() = 0;
  /// Called when the device has been lost. Calls `Destroy` unless overridden.
  virtual void Discard();

  /// Null once the context has been torn down.
  DeviceContext* GetDeviceContext() const { return device_context_; }
  ResourceBase* GetResource() const { return resource_; }

 protected:
  /// Stores the two links; the first step of every `Create`.
  void Link(ResourceBase* resource);

 private:
  friend class ResourceBase;
  friend class ResourceFactory;

  /// Clears the link to the device, which forgets the context.
  void Unlink();

  DeviceContext* device_context_ = nullptr;
  ResourceBase* resource_ = nullptr;
};

/// The device's registry of contexts, in order of registration. It owns none of them. Each
/// device-dependent context of a created resource stands in it exactly once. Beside the registry it
/// knows every context that is linked to the device, so that none is left with a link to a device
/// that is gone.
class VANTRIX_API ResourceFactory {
 public:
  ResourceFactory() = default;
  ResourceFactory(const ResourceFactory&) = delete;
  ResourceFactory& operator=(const ResourceFactory&) = delete;
  /// Clears the link of every context that still has one.
  virtual ~ResourceFactory();

  /// Appends `context` unless it is there already.
  void Add(ResourceContext* context);
  void Remove(ResourceContext* context);
  bool Contains(const ResourceContext* context) const;

  /// The walks call one operation on each context in list order. Contexts may be added and removed
  /// meanwhile: those that were there at the start are called, unless they have gone.
  void DiscardAll();
  /// A context that cannot be restored stays in the registry.
  void RestoreAll();
  /// Calls `Destroy` on each context, clears its link to the device, and empties the registry.
  void DestroyAll();

 private:
  friend class ResourceContext;

  template <class Operation>
  void Walk(Operation operation);

  std::list<ResourceContext*> contexts_;
  std::list<ResourceContext*> linked_;
};

/// Base of every object of the library that owns something the device made.
class VANTRIX_API ResourceBase {
 public:
  ResourceBase() = default;
  ResourceBase(const ResourceBase&) = delete;
  ResourceBase& operator=(const ResourceBase&) = delete;
  /// Tears down the context, if there is one. Does not call `OnDestroy`.
  virtual ~ResourceBase();

  /// Builds the platform objects on `device`, which must not be null and is not owned. A created
  /// resource is rebuilt. Returns false when the platform objects cannot be made; the new context
  /// then stays attached and is not registered.
  virtual bool Create(Device* device);
  /// Tears the context down, and calls `OnDestroy` even when there was none.
  virtual void Destroy();
  /// True when no context is attached. It does not tell whether the context's objects are alive.
  virtual bool IsEmpty() const;

  Context* GetContext() { return context_.get(); }
  const Context* GetContext() const { return context_.get(); }
  DeviceContext* GetDeviceContext() { return device_context_; }
  const DeviceContext* GetDeviceContext() const { return device_context_; }
  Device* GetDevice() { return device_; }
  const Device* GetDevice() const { return device_; }

 protected:
  /// Returns a new context of the resource's own kind, never null; the caller owns it.
  virtual Context* OnCreate() = 0;
  /// Runs at the end of `Destroy`.
  virtual void OnDestroy();
  /// Tears the context down, as the destructor does. A class whose context reaches back into it
  /// calls this in its own destructor, while it is still whole.
  void ReleaseContext();

 private:
  /// Takes `context` out of the registry, destroys its objects and frees it.
  static void TearDown(std::unique_ptr<Context> context);

  std::unique_ptr<Context> context_;
  DeviceContext* device_context_ = nullptr;
  Device* device_ = nullptr;
};

}  // namespace Vantra
