#include "render/engine.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>

namespace Vantra::Render {
namespace {

class FakeTexture final : public Texture {
 public:
  explicit FakeTexture(const TextureDesc& desc) : Texture(desc) {}
};

class FakeBuffer final : public Buffer {
 public:
  explicit FakeBuffer(const BufferDesc& desc) : Buffer(desc) {}
};

class FakeProgram final : public Program {};
class FakeComputeProgram final : public ComputeProgram {};

// Counts the operations that pass the checks of the base class and answers them with `answer`.
class FakeEngine final : public Engine {
 public:
  std::uint32_t MaximumTextureSize() const override { return 64; }
  std::uint64_t SubmissionCount() const override { return 0; }

  int reached = 0;
  Status answer = Status::kOk;

 private:
  Status Reach() {
    ++reached;
    return answer;
  }
  Status DoCreateTexture(const TextureDesc& desc, std::unique_ptr<Texture>* texture) override {
    *texture = std::make_unique<FakeTexture>(desc);
    return Reach();
  }
  Status DoCreateProgram(std::span<const std::byte>, std::unique_ptr<Program>* program) override {
    *program = std::make_unique<FakeProgram>();
    return Reach();
  }
  Status DoCreateBuffer(const BufferDesc& desc, std::unique_ptr<Buffer>* buffer) override {
    *buffer = std::make_unique<FakeBuffer>(desc);
    return Reach();
  }
  Status DoCreateComputeProgram(std::span<const std::byte>,
                                std::unique_ptr<ComputeProgram>* program) override {
    *program = std::make_unique<FakeComputeProgram>();
    return Reach();
  }
  Status DoUpload(Texture&, const Rect&, const std::byte*, std::size_t) override { return Reach(); }
  Status DoClear(Texture&, const std::array<float, 4>&) override { return Reach(); }
  Status DoDraw(const Pass&) override { return Reach(); }
  Status DoCopy(Texture&, std::int32_t, std::int32_t, const Texture&, const Rect&) override {
    return Reach();
  }
  Status DoDispatch(const Computation&) override { return Reach(); }
  Status DoCopyBuffer(Buffer&, const Buffer&) override { return Reach(); }
  Status DoFlush() override { return Reach(); }
  Status DoMap(Texture&, Mapping*) override { return Reach(); }
  void DoUnmap(Texture&) override {}
  Status DoMap(Buffer&, Mapping*) override { return Reach(); }
  void DoUnmap(Buffer&) override {}
};

class EngineTest : public ::testing::Test {
 protected:
  Pass GoodPass() {
    Pass pass;
    pass.program = &program_;
    pass.target = &device_;
    pass.rect = {0, 0, 8, 4};
    pass.bindings[0].texture = &other_;
    return pass;
  }
  Computation GoodComputation() {
    Computation computation;
    computation.program = &compute_;
    computation.groups_x = 1;
    computation.groups_y = kMaximumGroups;
    computation.textures[2] = &device_;
    computation.output = &buffer_;
    return computation;
  }
  void Refuses(const std::function<Status()>& call, const char* what) {
    EXPECT_EQ(call(), Status::kInvalidArgument) << what;
    EXPECT_EQ(engine_.reached, 0) << what;
  }

  FakeEngine engine_;
  FakeProgram program_;
  FakeTexture device_{{8, 4}};
  FakeTexture other_{{8, 4}};
  FakeTexture readback_{{8, 4, Format::kBgra8, Usage::kReadback}};
  FakeTexture rgba_{{8, 4, Format::kRgba8}};
  FakeTexture pairs_{{8, 4, Format::kRg8}};
  FakeComputeProgram compute_;
  FakeBuffer buffer_{{64}};
  FakeBuffer other_buffer_{{64}};
  FakeBuffer readback_buffer_{{64, Usage::kReadback}};
  std::array<std::uint32_t, 32> pixels_ = {};
};

TEST_F(EngineTest, TexturesAndProgramsThatCannotBeAreRefused) {
  std::unique_ptr<Texture> texture;
  for (const TextureDesc& desc :
       {TextureDesc{0, 1}, TextureDesc{1, 0}, TextureDesc{65, 1}, TextureDesc{1, 65}}) {
    Refuses([&] { return engine_.CreateTexture(desc, &texture); }, "size");
  }
  std::unique_ptr<Program> program;
  const std::array<std::uint32_t, 6> words = {0x07230203, 0x10600, 0, 8, 0, 0};
  std::array<std::uint32_t, 6> wrong = words;
  wrong[0] = 0x03022307;
  const auto bytes = std::as_bytes(std::span(words));
  Refuses([&] { return engine_.CreateProgram({}, &program); }, "empty");
  Refuses([&] { return engine_.CreateProgram(bytes.first(16), &program); }, "short");
  Refuses([&] { return engine_.CreateProgram(bytes.first(22), &program); }, "part of a word");
  Refuses([&] { return engine_.CreateProgram(std::as_bytes(std::span(wrong)), &program); },
          "magic");
  EXPECT_EQ(engine_.CreateProgram(bytes, &program), Status::kOk);
  EXPECT_EQ(engine_.CreateTexture({64, 64}, &texture), Status::kOk);
  // What a failed call found in its result is gone.
  EXPECT_EQ(engine_.CreateTexture({65, 64}, &texture), Status::kInvalidArgument);
  EXPECT_EQ(texture, nullptr);
}

TEST_F(EngineTest, RectanglesOutsideAndTexturesOfTheWrongUseAreRefused) {
  const auto upload = [&](Texture& texture, const Rect& rect, const void* data, std::size_t pitch) {
    return [&, rect, data, pitch] { return engine_.Upload(texture, rect, data, pitch); };
  };
  for (const Rect& rect : {Rect{0, 0, 9, 4}, Rect{0, 0, 8, 5}, Rect{-1, 0, 2, 2}, Rect{0, -1, 2, 2},
                           Rect{3, 1, 3, 2}, Rect{4, 2, 3, 3}}) {
    Refuses(upload(device_, rect, pixels_.data(), 64), "upload rectangle");
    Refuses([&] { return engine_.Copy(other_, 0, 0, device_, rect); }, "copy rectangle");
    Refuses(
        [&] {
          Pass pass = GoodPass();
          pass.rect = rect;
          return engine_.Draw(pass);
        },
        "pass rectangle");
  }
  Refuses(upload(device_, {0, 0, 8, 1}, pixels_.data(), 31), "pitch");
  Refuses(upload(pairs_, {0, 0, 8, 1}, pixels_.data(), 15), "pitch of small pixels");
  Refuses(upload(device_, {0, 0, 8, 1}, nullptr, 32), "no data");
  Refuses(upload(readback_, {0, 0, 8, 1}, pixels_.data(), 32), "upload to a read-back texture");
  Refuses([&] { return engine_.Clear(readback_, {}); }, "clear of a read-back texture");
  constexpr Rect kPart = {0, 0, 4, 2};
  Refuses([&] { return engine_.Copy(other_, 5, 0, device_, kPart); }, "beyond the right");
  Refuses([&] { return engine_.Copy(other_, 0, 3, device_, kPart); }, "beyond the bottom");
  Refuses([&] { return engine_.Copy(other_, -1, 0, device_, kPart); }, "before the left");
  Refuses(
      [&] {
        return engine_.Copy(other_, std::numeric_limits<std::int32_t>::max(), 0, device_, kPart);
      },
      "far beyond");
  Refuses([&] { return engine_.Copy(device_, 4, 2, device_, kPart); }, "onto itself");
  Refuses([&] { return engine_.Copy(rgba_, 0, 0, device_, kPart); }, "another format");
  Refuses([&] { return engine_.Copy(device_, 0, 0, readback_, kPart); }, "from a read-back");
  Mapping mapping;
  Refuses([&] { return engine_.Map(device_, &mapping); }, "map of a device texture");
}

TEST_F(EngineTest, PassesThatBreakARuleAreRefused) {
  std::array<std::byte, kMaximumConstantBytes + 1> constants = {};
  const std::pair<const char*, std::function<void(Pass&)>> faults[] = {
      {"no program", [](Pass& pass) { pass.program = nullptr; }},
      {"no target", [](Pass& pass) { pass.target = nullptr; }},
      {"read-back target", [&](Pass& pass) { pass.target = &readback_; }},
      {"target as input", [&](Pass& pass) { pass.bindings[2].texture = &device_; }},
      {"read-back input", [&](Pass& pass) { pass.bindings[1].texture = &readback_; }},
      {"no extent", [](Pass& pass) { pass.extent_x = 0; }},
      {"unordered extent", [](Pass& pass) { pass.extent_y = std::nanf(""); }},
      {"too many constants", [&](Pass& pass) { pass.constants = constants; }},
  };
  for (const auto& [what, fault] : faults) {
    Pass pass = GoodPass();
    fault(pass);
    Refuses([&] { return engine_.Draw(pass); }, what);
  }
  EXPECT_EQ(engine_.Draw(GoodPass()), Status::kOk);
  EXPECT_EQ(engine_.reached, 1);
}

TEST_F(EngineTest, BuffersAndComputationsThatBreakARuleAreRefused) {
  std::unique_ptr<Buffer> buffer;
  for (const std::uint32_t bytes : {0u, 2u, 7u}) {
    Refuses([&] { return engine_.CreateBuffer({bytes}, &buffer); }, "size");
  }
  // An entry point of a pixel program, then of a compute program, each after another instruction.
  const std::array<std::uint32_t, 9> pixel = {0x07230203,    0x10600,        0, 8, 0,
                                              (1 << 16) | 1, (3 << 16) | 15, 4, 0};
  std::array<std::uint32_t, 9> compute = pixel;
  compute[7] = 5;
  std::array<std::uint32_t, 9> endless = compute;
  endless[5] = 1;
  std::array<std::uint32_t, 9> beyond = compute;
  beyond[6] = (4 << 16) | 15;
  std::unique_ptr<ComputeProgram> program;
  for (const auto& words : {pixel, endless, beyond}) {
    const auto bytes = std::as_bytes(std::span(words));
    Refuses([&] { return engine_.CreateComputeProgram(bytes, &program); }, "no compute shader");
    Refuses([&] { return engine_.CreateComputeProgram(bytes.subspan(1), &program); }, "part");
  }

  std::array<std::byte, kMaximumConstantBytes + 1> constants = {};
  const std::pair<const char*, std::function<void(Computation&)>> faults[] = {
      {"no program", [](Computation& computation) { computation.program = nullptr; }},
      {"no output", [](Computation& computation) { computation.output = nullptr; }},
      {"read-back output", [&](Computation& c) { c.output = &readback_buffer_; }},
      {"read-back texture", [&](Computation& c) { c.textures[0] = &readback_; }},
      {"no groups across", [](Computation& computation) { computation.groups_x = 0; }},
      {"no groups down", [](Computation& computation) { computation.groups_y = 0; }},
      {"too many groups", [](Computation& c) { c.groups_x = kMaximumGroups + 1; }},
      {"too many constants", [&](Computation& c) { c.constants = constants; }},
  };
  for (const auto& [what, fault] : faults) {
    Computation computation = GoodComputation();
    fault(computation);
    Refuses([&] { return engine_.Dispatch(computation); }, what);
  }
  FakeBuffer small({32});
  Mapping mapping;
  Refuses([&] { return engine_.CopyBuffer(small, buffer_); }, "another size");
  Refuses([&] { return engine_.CopyBuffer(buffer_, buffer_); }, "onto itself");
  Refuses([&] { return engine_.CopyBuffer(buffer_, readback_buffer_); }, "from a read-back");
  Refuses([&] { return engine_.Map(buffer_, &mapping); }, "map of a device buffer");

  EXPECT_EQ(engine_.CreateBuffer({4}, &buffer), Status::kOk);
  EXPECT_EQ(engine_.CreateComputeProgram(std::as_bytes(std::span(compute)), &program), Status::kOk);
  EXPECT_EQ(engine_.Dispatch(GoodComputation()), Status::kOk);
  EXPECT_EQ(engine_.CopyBuffer(other_buffer_, buffer_), Status::kOk);
  EXPECT_EQ(engine_.CopyBuffer(readback_buffer_, buffer_), Status::kOk);
  EXPECT_EQ(engine_.Map(readback_buffer_, &mapping), Status::kOk);
  EXPECT_EQ(engine_.reached, 6);
}

TEST_F(EngineTest, AfterALossEveryCallReportsItWithoutReachingTheDevice) {
  // Of its own accord: other failures do not last, a loss does.
  engine_.answer = Status::kOutOfMemory;
  EXPECT_EQ(engine_.Flush(), Status::kOutOfMemory);
  EXPECT_FALSE(engine_.Lost());
  engine_.answer = Status::kDeviceLost;
  EXPECT_EQ(engine_.Flush(), Status::kDeviceLost);
  engine_.answer = Status::kOk;
  engine_.reached = 0;
  std::unique_ptr<Texture> texture = std::make_unique<FakeTexture>(TextureDesc{1, 1});
  std::unique_ptr<Program> program;
  Mapping mapping{reinterpret_cast<const std::byte*>(pixels_.data()), 4};
  EXPECT_EQ(engine_.CreateTexture({1, 1}, &texture), Status::kDeviceLost);
  EXPECT_EQ(texture, nullptr);
  EXPECT_EQ(engine_.CreateProgram({}, &program), Status::kDeviceLost);
  EXPECT_EQ(engine_.Upload(device_, {0, 0, 8, 4}, pixels_.data(), 32), Status::kDeviceLost);
  EXPECT_EQ(engine_.Clear(device_, {}), Status::kDeviceLost);
  EXPECT_EQ(engine_.Draw(GoodPass()), Status::kDeviceLost);
  EXPECT_EQ(engine_.Copy(other_, 0, 0, device_, {0, 0, 1, 1}), Status::kDeviceLost);
  EXPECT_EQ(engine_.Flush(), Status::kDeviceLost);
  EXPECT_EQ(engine_.Map(readback_, &mapping), Status::kDeviceLost);
  EXPECT_EQ(mapping.data, nullptr);
  std::unique_ptr<Buffer> buffer = std::make_unique<FakeBuffer>(BufferDesc{4});
  std::unique_ptr<ComputeProgram> compute;
  EXPECT_EQ(engine_.CreateBuffer({4}, &buffer), Status::kDeviceLost);
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(engine_.CreateComputeProgram({}, &compute), Status::kDeviceLost);
  EXPECT_EQ(engine_.Dispatch(GoodComputation()), Status::kDeviceLost);
  EXPECT_EQ(engine_.CopyBuffer(other_buffer_, buffer_), Status::kDeviceLost);
  EXPECT_EQ(engine_.Map(readback_buffer_, &mapping), Status::kDeviceLost);
  EXPECT_EQ(engine_.reached, 0);
}

TEST_F(EngineTest, AnInjectedLossComesAfterExactlyTheGivenNumberOfCalls) {
  engine_.InjectLoss(2);
  EXPECT_EQ(engine_.Flush(), Status::kOk);
  EXPECT_EQ(engine_.Clear(device_, {}), Status::kOk);
  EXPECT_FALSE(engine_.Lost());
  EXPECT_EQ(engine_.Flush(), Status::kDeviceLost);
  EXPECT_TRUE(engine_.Lost());
  EXPECT_EQ(engine_.CallCount(), 3u);
  EXPECT_EQ(engine_.reached, 2);
}

}  // namespace
}  // namespace Vantra::Render
