#include <vantrix/device/device.h>
#include <vantrix/device/resourcebase.h>

#include <algorithm>

namespace Vantra {

Context::~Context() = default;

ResourceContext::~ResourceContext() = default;

void ResourceContext::Discard() { Destroy(); }

void ResourceContext::Link(ResourceBase* resource) {
  resource_ = resource;
  device_context_ = resource->GetDeviceContext();
}

ResourceFactory::~ResourceFactory() = default;

void ResourceFactory::Add(ResourceContext* context) {
  if (!Contains(context)) contexts_.push_back(context);
}

void ResourceFactory::Remove(ResourceContext* context) {
  const auto found = std::find(contexts_.begin(), contexts_.end(), context);
  if (found == contexts_.end()) return;
  if (found == next_) ++next_;
  contexts_.erase(found);
}

bool ResourceFactory::Contains(const ResourceContext* context) const {
  return std::find(contexts_.begin(), contexts_.end(), context) != contexts_.end();
}

template <class Operation>
void ResourceFactory::Walk(Operation operation) {
  for (next_ = contexts_.begin(); next_ != contexts_.end();) operation(*next_++);
}

void ResourceFactory::DiscardAll() {
  Walk([](ResourceContext* context) { context->Discard(); });
}

void ResourceFactory::RestoreAll() {
  Walk([](ResourceContext* context) { context->Restore(); });
}

void ResourceFactory::DestroyAll() {
  Walk([](ResourceContext* context) {
    context->Destroy();
    context->device_context_ = nullptr;
  });
  contexts_.clear();
}

ResourceBase::~ResourceBase() { ReleaseContext(); }

void ResourceBase::ReleaseContext() { TearDown(std::move(context_)); }

void ResourceBase::TearDown(std::unique_ptr<Context> context) {
  auto* resource_context = dynamic_cast<ResourceContext*>(context.get());
  if (!resource_context || !resource_context->device_context_) return;
  resource_context->device_context_->GetResourceFactory().Remove(resource_context);
  resource_context->Destroy();
  resource_context->device_context_ = nullptr;
}

bool ResourceBase::Create(Device* device) {
  device_ = device;
  device_context_ = device->GetContext();

  TearDown(std::exchange(context_, std::unique_ptr<Context>(OnCreate())));

  auto* context = dynamic_cast<ResourceContext*>(context_.get());
  if (!context) return true;
  if (!context->Create(this)) return false;
  if (!context->IsDeviceIndependent()) device_context_->GetResourceFactory().Add(context);
  return true;
}

void ResourceBase::Destroy() {
  ReleaseContext();
  OnDestroy();
}

bool ResourceBase::IsEmpty() const { return context_ == nullptr; }

void ResourceBase::OnDestroy() {}

}  // namespace Vantra
