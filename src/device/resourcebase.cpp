#include <vantrix/device/device.h>
#include <vantrix/device/resourcebase.h>

#include <algorithm>
#include <vector>

namespace Vantra {

Context::~Context() = default;

ResourceContext::~ResourceContext() { Unlink(); }

void ResourceContext::Discard() { Destroy(); }

void ResourceContext::Link(ResourceBase* resource) {
  Unlink();
  resource_ = resource;
  device_context_ = resource->GetDeviceContext();
  if (device_context_) device_context_->GetResourceFactory().linked_.push_back(this);
}

void ResourceContext::Unlink() {
  if (!device_context_) return;
  ResourceFactory& factory = device_context_->GetResourceFactory();
  factory.Remove(this);
  factory.linked_.remove(this);
  device_context_ = nullptr;
}

ResourceFactory::~ResourceFactory() {
  while (!linked_.empty()) linked_.front()->Unlink();
}

void ResourceFactory::Add(ResourceContext* context) {
  if (!Contains(context)) contexts_.push_back(context);
}

void ResourceFactory::Remove(ResourceContext* context) { contexts_.remove(context); }

bool ResourceFactory::Contains(const ResourceContext* context) const {
  return std::find(contexts_.begin(), contexts_.end(), context) != contexts_.end();
}

template <class Operation>
void ResourceFactory::Walk(Operation operation) {
  for (ResourceContext* context : std::vector(contexts_.begin(), contexts_.end())) {
    if (Contains(context)) operation(context);
  }
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
    context->Unlink();
  });
}

ResourceBase::~ResourceBase() { ReleaseContext(); }

void ResourceBase::ReleaseContext() { TearDown(std::move(context_)); }

void ResourceBase::TearDown(std::unique_ptr<Context> context) {
  auto* resource_context = dynamic_cast<ResourceContext*>(context.get());
  if (!resource_context || !resource_context->device_context_) return;
  resource_context->device_context_->GetResourceFactory().Remove(resource_context);
  resource_context->Destroy();
  resource_context->Unlink();
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
