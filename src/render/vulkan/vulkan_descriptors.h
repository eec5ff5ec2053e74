#pragma once

// Samplers, and the descriptor sets that bind textures, samplers and a buffer to a program's
// registers.

#include <array>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "render/vulkan/vulkan_api.h"

namespace Vantra::Render::Vulkan {

// What the registers of one pass or computation hold.
struct Registers {
  std::array<VkImageView, kRegisterCount> views = {};
  std::array<VkSampler, kRegisterCount> samplers = {};
  VkBuffer output = VK_NULL_HANDLE;  // of a computation only
  friend bool operator==(const Registers&, const Registers&) = default;
};

// Every set is of one layout: images at bindings 0 to 2, samplers at 3 to 5, constants at 6, the
// output of a computation at 7. Sets are kept for the registers that they were written for, so that
// a frame like the last writes none.
class Descriptors {
 public:
  explicit Descriptors(Api& api) : api_(api) {}
  ~Descriptors();
  Descriptors(const Descriptors&) = delete;
  Descriptors& operator=(const Descriptors&) = delete;

  // Binds the constants of all sets to `constants`, at the offset given at each use.
  Status Init(VkBuffer constants);

  VkDescriptorSetLayout Layout() const { return layout_; }
  Status FindSampler(const Sampler& sampler, VkSampler* handle);

  // The set for `registers`, which the work of timeline value `use` reads. Work up to `completed`
  // is done: its sets can be written anew.
  Status FindSet(const Registers& registers, std::uint64_t use, std::uint64_t completed,
                 VkDescriptorSet* set);
  // Gives up the sets that hold what is about to be destroyed.
  void Forget(VkImageView view);
  void Forget(VkBuffer output);

 private:
  struct Hash {
    std::size_t operator()(const Registers& registers) const;
  };
  struct Set {
    VkDescriptorSet handle;
    std::uint64_t last_use;
  };

  template <class Condition>
  void GiveUp(Condition condition);
  Status TakeSet(std::uint64_t completed, VkDescriptorSet* set);
  Status AddPool();
  static constexpr std::size_t kSamplerCount = 2 * 3 * 3;

  Api& api_;
  VkBuffer constants_ = VK_NULL_HANDLE;
  VkDescriptorSetLayout layout_ = VK_NULL_HANDLE;
  std::array<VkSampler, kSamplerCount> samplers_ = {};
  std::vector<VkDescriptorPool> pools_;
  std::uint32_t left_in_pool_ = 0;
  std::unordered_map<Registers, Set, Hash> sets_;
  std::vector<Set> free_;
};

}  // namespace Vantra::Render::Vulkan
