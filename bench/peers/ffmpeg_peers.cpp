// FFmpeg's filters have threads of their own, as many as the team has. Its scaler has none that a
// host asks for with plain calls: each of the team converts its rows with a context of its own.

#include <algorithm>
#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <stdexcept>

#include "bench/peers/peer.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace Vantra::Bench {
namespace {

void Check(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string("FFmpeg: ") + what);
}

struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FreeFrame>;

// The scene's picture in a format that the filter takes.
Frame MakeFrame(const Scene& scene, AVPixelFormat format) {
  Frame frame(av_frame_alloc());
  Check(frame != nullptr, "frame");
  frame->width = kWidth;
  frame->height = kHeight;
  frame->format = format;
  Check(av_frame_get_buffer(frame.get(), 0) >= 0, "frame");
  // The planes of AV_PIX_FMT_GBRAP, as channels of a pixel of the scene.
  constexpr int kChannels[4] = {1, 0, 2, 3};
  for (int y = 0; y < kHeight; ++y) {
    const unsigned char* row = scene.picture.data() + static_cast<std::ptrdiff_t>(y) * kStride;
    if (format == AV_PIX_FMT_BGRA) {
      std::copy_n(row, kStride, frame->data[0] + y * frame->linesize[0]);
      continue;
    }
    for (int plane = 0; plane < 4; ++plane) {
      unsigned char* to = frame->data[plane] + y * frame->linesize[plane];
      for (int x = 0; x < kWidth; ++x) to[x] = row[x * 4 + kChannels[plane]];
    }
  }
  return frame;
}

// One filter between a source and a sink.
class Filter {
 public:
  Filter(const Scene& scene, AVPixelFormat format, const char* name, const std::string& arguments)
      : input_(MakeFrame(scene, format)), output_(av_frame_alloc()) {
    graph_ = avfilter_graph_alloc();
    Check(graph_ && output_, "graph");
    graph_->nb_threads = static_cast<int>(scene.team->Size());
    graph_->thread_type = AVFILTER_THREAD_SLICE;
    source_ = Make("buffer", fmt::format("video_size={}x{}:pix_fmt={}:time_base=1/25", kWidth,
                                         kHeight, static_cast<int>(format)));
    AVFilterContext* filter = Make(name, arguments);
    sink_ = Make("buffersink", "");
    Check(avfilter_link(source_, 0, filter, 0) == 0 && avfilter_link(filter, 0, sink_, 0) == 0 &&
              avfilter_graph_config(graph_, nullptr) >= 0,
          name);
  }
  Filter(const Filter&) = delete;
  Filter& operator=(const Filter&) = delete;
  ~Filter() { avfilter_graph_free(&graph_); }

  void Run() {
    av_frame_unref(output_.get());
    ++input_->pts;
    Check(av_buffersrc_add_frame_flags(source_, input_.get(), AV_BUFFERSRC_FLAG_KEEP_REF) >= 0 &&
              av_buffersink_get_frame(sink_, output_.get()) >= 0 &&
              output_->format == input_->format,
          "filtering");
  }

 private:
  AVFilterContext* Make(const char* name, const std::string& arguments) {
    AVFilterContext* context = nullptr;
    Check(avfilter_graph_create_filter(&context, avfilter_get_by_name(name), name,
                                       arguments.c_str(), nullptr, graph_) >= 0,
          name);
    return context;
  }

  Frame input_;
  Frame output_;
  AVFilterGraph* graph_ = nullptr;
  AVFilterContext* source_ = nullptr;
  AVFilterContext* sink_ = nullptr;
};

Run Filtered(const Scene& scene, AVPixelFormat format, const char* name,
             const std::string& arguments) {
  const auto filter = std::make_shared<Filter>(scene, format, name, arguments);
  return {[filter] { filter->Run(); }, {}};
}

Run Mix(const Scene& scene) {
  const ColorMatrix matrix = SaturationMatrix();
  std::string arguments;
  for (int row = 2; row >= 0; --row) {
    for (int column = 2; column >= 0; --column) {
      arguments += fmt::format("{}{}{}={}", arguments.empty() ? "" : ":", "bgr"[row], "bgr"[column],
                               matrix.rows[row][column]);
    }
  }
  return Filtered(scene, AV_PIX_FMT_BGRA, "colorchannelmixer", arguments);
}

// The filter takes planes alone.
std::function<Run(const Scene&)> Blur(int deviation) {
  return [deviation](const Scene& scene) {
    return Filtered(scene, AV_PIX_FMT_GBRAP, "gblur", fmt::format("sigma={}:steps=1", deviation));
  };
}

struct FreeScaler {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using Scaler = std::unique_ptr<SwsContext, FreeScaler>;

std::function<Run(const Scene&)> Convert(AVPixelFormat format, Bytes Scene::*video) {
  return [format, video](const Scene& scene) -> Run {
    const auto scalers = std::make_shared<std::vector<Scaler>>();
    for (unsigned part = 0; part < scene.team->Size(); ++part) {
      const Rows rows = RowsOf(*scene.team, part);
      scalers->emplace_back(sws_getContext(kWidth, rows.count, format, kWidth, rows.count,
                                           AV_PIX_FMT_BGRA, SWS_FAST_BILINEAR, nullptr, nullptr,
                                           nullptr));
      Check(scalers->back() != nullptr, "scaler");
    }
    std::array<unsigned char*, 4> planes = {};
    std::array<int, 4> strides = {};
    Check(av_image_fill_linesizes(strides.data(), format, kWidth) >= 0 &&
              av_image_fill_pointers(planes.data(), format, kHeight,
                                     const_cast<unsigned char*>((scene.*video).data()),
                                     strides.data()) > 0,
          "planes");
    const int chroma_shift = format == AV_PIX_FMT_YUYV422 ? 0 : 1;
    const auto target = NewFrame();
    return {[=, team = scene.team] {
              team->Run([&](unsigned part) {
                const Rows rows = RowsOf(*team, part);
                const unsigned char* from[4] = {};
                for (std::size_t plane = 0; plane < 4 && planes[plane]; ++plane) {
                  const int row = plane == 0 ? rows.first : rows.first >> chroma_shift;
                  from[plane] = planes[plane] + row * strides[plane];
                }
                unsigned char* const to[4] = {target->data() +
                                              static_cast<std::ptrdiff_t>(rows.first) * kStride};
                const int pitch[4] = {kStride};
                sws_scale((*scalers)[part].get(), from, strides.data(), 0, rows.count, to, pitch);
              });
            },
            PixelsOf(target)};
  };
}

}  // namespace

std::vector<Peer> ListFfmpegPeers() {
  // It warns at every start of a conversion that it has no faster one.
  av_log_set_level(AV_LOG_ERROR);
  return {
      {Task::kColorMatrix, "FFmpeg colorchannelmixer", 1.0, Mix},
      {Task::kBlur8, "FFmpeg gblur", 1.0, Blur(8)},
      {Task::kBlur64, "FFmpeg gblur", 1.0, Blur(64)},
      {Task::kNv12, "FFmpeg swscale", 1.0, Convert(AV_PIX_FMT_NV12, &Scene::nv12)},
      {Task::kPlanar, "FFmpeg swscale", 1.0, Convert(AV_PIX_FMT_YUV420P, &Scene::planar)},
      {Task::kYuy2, "FFmpeg swscale", 1.0, Convert(AV_PIX_FMT_YUYV422, &Scene::yuy2)},
  };
}

}  // namespace Vantra::Bench
