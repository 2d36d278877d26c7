// FFmpeg's filters, run in this process through libavfilter on one thread.
#define __STDC_CONSTANT_MACROS
extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
}
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "Peers.h"

namespace bench {

namespace {

using Frame = std::shared_ptr<AVFrame>;

Frame newFrame() {
  return Frame(av_frame_alloc(), [](AVFrame* frame) { av_frame_free(&frame); });
}

void require(int result) {
  if (result < 0) throw std::runtime_error("FFmpeg refuses");
}

// Planes of other formats than BGRA are green, blue, red.
Frame frameOf(const Image& image, AVPixelFormat format) {
  Frame frame = newFrame();
  frame->width = image.width;
  frame->height = image.height;
  frame->format = format;
  require(av_frame_get_buffer(frame.get(), 64));
  for (int y = 0; y < image.height; ++y) {
    const auto* pixels = reinterpret_cast<const uint8_t*>(image.row(y));
    if (format == AV_PIX_FMT_BGRA) {
      memcpy(frame->data[0] + ptrdiff_t{y} * frame->linesize[0], pixels, image.rowBytes());
      continue;
    }
    constexpr int kChannels[] = {1, 0, 2};
    for (int plane = 0; plane < 3; ++plane) {
      uint8_t* row = frame->data[plane] + ptrdiff_t{y} * frame->linesize[plane];
      for (int x = 0; x < image.width; ++x) {
        const int value = pixels[4 * x + kChannels[plane]];
        if (format == AV_PIX_FMT_GBRPF32) {
          reinterpret_cast<float*>(row)[x] = static_cast<float>(value) / 255;
        } else if (format == AV_PIX_FMT_GBRP16) {
          reinterpret_cast<uint16_t*>(row)[x] = static_cast<uint16_t>(value * 257);
        } else {
          row[x] = static_cast<uint8_t>(value);
        }
      }
    }
  }
  return frame;
}

// One filter description between a source and a sink.
class Graph {
 public:
  Graph(const char* sourceFilter, const std::string& arguments, const char* sinkFilter,
        const std::string& description, bool converting)
      : graph_(avfilter_graph_alloc()) {
    graph_->nb_threads = 1;
    graph_->thread_type = 0;
    if (!converting) avfilter_graph_set_auto_convert(graph_, AVFILTER_AUTO_CONVERT_NONE);
    require(avfilter_graph_create_filter(&source_, avfilter_get_by_name(sourceFilter), "in",
                                         arguments.c_str(), nullptr, graph_));
    require(avfilter_graph_create_filter(&sink_, avfilter_get_by_name(sinkFilter), "out", nullptr,
                                         nullptr, graph_));
    AVFilterInOut* outputs = end("in", source_);
    AVFilterInOut* inputs = end("out", sink_);
    require(avfilter_graph_parse_ptr(graph_, description.c_str(), &inputs, &outputs, nullptr));
    require(avfilter_graph_config(graph_, nullptr));
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
  }
  ~Graph() { avfilter_graph_free(&graph_); }
  Graph(const Graph&) = delete;
  Graph& operator=(const Graph&) = delete;

  /// Null ends the input.
  void push(AVFrame* frame) {
    require(av_buffersrc_add_frame_flags(source_, frame,
                                         AV_BUFFERSRC_FLAG_KEEP_REF | AV_BUFFERSRC_FLAG_PUSH));
  }
  void pullAll() {
    AVFrame* frame = av_frame_alloc();
    while (av_buffersink_get_frame(sink_, frame) >= 0) av_frame_unref(frame);
    av_frame_free(&frame);
  }

 private:
  static AVFilterInOut* end(const char* name, AVFilterContext* filter) {
    AVFilterInOut* end = avfilter_inout_alloc();
    *end = {av_strdup(name), filter, 0, nullptr};
    return end;
  }

  AVFilterGraph* graph_;
  AVFilterContext* source_ = nullptr;
  AVFilterContext* sink_ = nullptr;
};

PeerCall filter(const Image& image, AVPixelFormat format, const std::string& description) {
  const Frame frame = frameOf(image, format);
  const std::string arguments =
      "video_size=" + std::to_string(image.width) + "x" + std::to_string(image.height) +
      ":pix_fmt=" + std::to_string(format) + ":time_base=1/25:pixel_aspect=1/1";
  const bool converting = description.find("format=") == 0;
  auto graph = std::make_shared<Graph>("buffer", arguments, "buffersink", description, converting);
  auto time = std::make_shared<int64_t>(0);
  return {[=] {
    frame->pts = ++*time;
    graph->push(frame.get());
    graph->pullAll();
  }};
}

// Red changes fastest in such files.
std::string cubeFile() {
  static const std::string name =
      std::filesystem::temp_directory_path() / ("zvk-bench-" + std::to_string(getpid()) + ".cube");
  if (std::filesystem::exists(name)) return name;
  std::ofstream file(name);
  file << "LUT_3D_SIZE " << kGridPoints << "\n";
  for (int b = 0; b < kGridPoints; ++b) {
    for (int g = 0; g < kGridPoints; ++g) {
      for (int r = 0; r < kGridPoints; ++r) {
        for (const double value : gradedColor(17 * r, 17 * g, 17 * b)) file << value / 255 << " ";
        file << "\n";
      }
    }
  }
  return name;
}

PeerCall table(const Job& job, AVPixelFormat format, const std::string& before,
               const std::string& after) {
  const std::string file = cubeFile();
  PeerCall call =
      filter(job.first, format, before + "lut3d=file=" + file + ":interp=tetrahedral" + after);
  std::filesystem::remove(file);
  return call;
}

PeerCall tableFloat(const Job& job) { return table(job, AV_PIX_FMT_GBRPF32, "", ""); }
PeerCall tableWords(const Job& job) { return table(job, AV_PIX_FMT_GBRP16, "", ""); }
PeerCall tablePacked(const Job& job) {
  return table(job, AV_PIX_FMT_BGRA, "format=gbrpf32le,", ",format=bgra");
}

PeerCall scroll(const Job& job, const char* parameter, int size) {
  return filter(
      job.first, AV_PIX_FMT_GBRP,
      std::string("scroll=") + parameter + "=" + std::to_string(1 - double(job.scrollBy) / size));
}
PeerCall scrollRows(const Job& job) { return scroll(job, "vpos", job.first.height); }
PeerCall scrollColumns(const Job& job) { return scroll(job, "hpos", job.first.width); }

// Unsigned bytes are its nearest format; it converts them itself.
PeerCall waveform(const Job& job) {
  constexpr int kChunk = 65536;
  auto frames = std::make_shared<std::vector<Frame>>();
  for (int at = 0; at < job.pairs; at += kChunk) {
    const Frame frame = newFrame();
    frame->nb_samples = std::min(kChunk, job.pairs - at);
    frame->format = AV_SAMPLE_FMT_U8;
    frame->sample_rate = 44100;
    frame->ch_layout = AV_CHANNEL_LAYOUT_STEREO;
    frame->pts = at;
    require(av_frame_get_buffer(frame.get(), 0));
    for (int i = 0; i < 2 * frame->nb_samples; ++i) {
      frame->data[0][i] = static_cast<uint8_t>(job.samples[2 * at + i] + 128);
    }
    frames->push_back(frame);
  }
  return {[=] {
    Graph graph("abuffer",
                "sample_rate=44100:sample_fmt=u8:channel_layout=stereo:time_base=1/44100",
                "buffersink", "showwavespic=s=1000x500:split_channels=1", true);
    for (const Frame& frame : *frames) graph.push(frame.get());
    graph.push(nullptr);
    graph.pullAll();
  }};
}

constexpr Peer kPeers[] = {
    {"FFmpeg lut3d, planes of floats", tableFloat},
    {"FFmpeg lut3d, planes of 16 bits", tableWords},
    {"FFmpeg lut3d, from BGRA and back", tablePacked},
    {"FFmpeg scroll, vertically, planes", scrollRows},
    {"FFmpeg scroll, horizontally, planes", scrollColumns},
    {"FFmpeg showwavespic", waveform},
};

}  // namespace

std::span<const Peer> ffmpegPeers() {
  av_log_set_level(AV_LOG_QUIET);
  return kPeers;
}

}  // namespace bench
