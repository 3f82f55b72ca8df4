#include "video/video_run.h"

#include <cstdio>
#include <deque>
#include <exception>
#include <memory>
#include <thread>

#include "common/errors.h"
#include "common/stop_request.h"
#include "denoise/denoise_run.h"
#include "video/channel.h"
#include "video/video_frames.h"
#include "video/video_progress.h"
#include "zolt_burst.h"

namespace zolt {
namespace {

/// Frames that wait between two threads.
constexpr size_t kWaiting = 4;

/// What goes to the encoders: a cleaned frame with what it was, or a packet.
struct CleanItem {
  FrameHandle frame, before;
  PacketHandle packet;
};

struct CloseStream {
  void operator()(zolt_burst_stream* stream) const { zolt_burst_stream_close(stream); }
};

/// One video on its way: a thread decodes, the caller's cleans, a third one encodes.
class VideoRun {
 public:
  VideoRun(const VideoSettings& settings, std::ostream& err)
      : settings_(settings),
        err_(err),
        source_(settings.source),
        progress_(source_.expected(), settings.quiet) {
    target_ = std::make_unique<VideoTarget>(settings.target, source_);
    if (!settings.compare.empty()) {
      VideoTargetOptions beside = settings.target;
      beside.path = settings.compare;
      beside.beside = true;
      compare_ = std::make_unique<VideoTarget>(beside, source_);
    }
    OpenStream();
  }

  void Run() {
    std::thread reader([this] { Read(); });
    std::thread writer([this] { Write(); });
    std::exception_ptr failure;
    try {
      Clean();
    } catch (...) {
      failure = std::current_exception();
    }
    source_.Stop();
    read_.Close();
    clean_.End();
    reader.join();
    writer.join();
    // Of a disk that is full the cleaning only hears that nobody takes its frames.
    if (write_failure_) failure = write_failure_;
    CloseTargets(&failure);
    Tell();
    if (failure) std::rethrow_exception(failure);
    if (!stopped_) return;
    const bool some = target_->frames() > 0;
    throw ToolError(kExitStopped, some ? "stopped after " + Frames() + ", which " + Name() + " holds"
                                       : "stopped before anything was written");
  }

 private:
  void OpenStream() {
    zolt_burst_stream_options options;
    zolt_burst_stream_options_init(&options);
    options.window = settings_.window;
    options.burst.mode = settings_.mode;
    options.burst.iso = settings_.iso;
    if (!settings_.config_folder.empty()) options.burst.tuning_folder = settings_.config_folder.c_str();
    zolt_burst_stream* stream = nullptr;
    Check(zolt_burst_stream_open(&stream, &options));
    stream_.reset(stream);
  }

  void Check(int32_t result) const {
    if (result != ZOLT_BURST_OK) throw LibraryRefused(result, "frame " + std::to_string(progress_.done()));
  }

  void Read() {
    std::exception_ptr failure;
    try {
      VideoItem item;
      while (source_.Next(&item) && read_.Put(std::move(item))) item = {};
    } catch (...) {
      failure = std::current_exception();
    }
    read_.End(failure);
  }

  void Write() {
    try {
      CleanItem item;
      for (;;) {
        const auto state = clean_.Take(&item);
        if (state == Channel<CleanItem>::State::kEnded) return;
        if (state == Channel<CleanItem>::State::kWaiting) continue;
        if (item.packet) target_->Write(*item.packet);
        if (!item.frame) continue;
        target_->Write(*item.frame);
        if (compare_) compare_->Write(*Beside(*item.before, *item.frame));
      }
    } catch (...) {
      write_failure_ = std::current_exception();
      clean_.Close();
    }
  }

  void Clean() {
    std::exception_ptr damaged;
    VideoItem item;
    for (bool more = true; more;) {
      stopped_ = StopRequest::Heard();
      if (stopped_) return;
      try {
        const auto state = read_.Take(&item);
        if (state == Channel<VideoItem>::State::kWaiting) continue;
        more = state == Channel<VideoItem>::State::kTaken;
      } catch (...) {
        // The frames that came before are cleaned and kept.
        damaged = std::current_exception();
        more = false;
      }
      if (more && !Pass(std::move(item))) return;
    }
    Check(zolt_burst_stream_end(stream_.get()));
    PullReady();
    if (damaged) std::rethrow_exception(damaged);
  }

  // False if nobody takes the results any more.
  bool Pass(VideoItem item) {
    if (item.packet) {
      // Before the first frame there is no file yet.
      if (progress_.done() == 0) {
        early_.push_back(std::move(item.packet));
        return true;
      }
      return clean_.Put({nullptr, nullptr, std::move(item.packet)});
    }
    TellNotes(source_.notes(), &told_of_source_);
    const zolt_burst_picture view = ViewOf(*item.frame);
    Check(zolt_burst_stream_push(stream_.get(), &view));
    waiting_.push_back(std::move(item.frame));
    return PullReady();
  }

  bool PullReady() {
    while (zolt_burst_stream_ready(stream_.get()) > 0) {
      stopped_ = stopped_ || StopRequest::Heard();
      if (stopped_) return false;
      CleanItem item;
      item.before = std::move(waiting_.front());
      waiting_.pop_front();
      item.frame = NewFrameLike(*item.before, item.before->width, item.before->height);
      const zolt_burst_picture output = ViewOf(*item.frame);
      zolt_burst_report_init(&report_);
      Check(zolt_burst_stream_pull(stream_.get(), &output, &report_, nullptr, 0));
      if (report_.merged < 2) ++alone_;
      progress_.Step();
      if (!clean_.Put(std::move(item))) return false;
      for (; !early_.empty(); early_.pop_front()) {
        if (!clean_.Put({nullptr, nullptr, std::move(early_.front())})) return false;
      }
    }
    return true;
  }

  // Keeps what was done; a failure that is told already stays the one.
  void CloseTargets(std::exception_ptr* failure) {
    for (VideoTarget* target : {target_.get(), compare_.get()}) {
      if (target == nullptr) continue;
      try {
        if (target->frames() > 0 || (!*failure && !stopped_)) target->Close();
      } catch (...) {
        if (!*failure) *failure = std::current_exception();
      }
    }
  }

  void TellNotes(const std::vector<std::string>& notes, size_t* told) {
    for (; *told < notes.size(); ++*told) {
      if (!settings_.quiet) err_ << "zolt-burst: " << settings_.source.path << ": " << notes[*told] << "\n";
    }
  }

  std::string Name() const {
    return settings_.target.path == "-" ? "standard output" : settings_.target.path;
  }
  std::string Frames() const {
    return std::to_string(target_->frames()) + (target_->frames() == 1 ? " frame" : " frames");
  }

  void Tell() {
    size_t told = 0;
    TellNotes(target_->notes(), &told);
    if (settings_.quiet || target_->frames() == 0) return;
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.1f", progress_.rate());
    err_ << Name() << ": " << Frames() << ", " << rate << " frames/s, ISO " << report_.iso << " (band "
         << report_.band << ") at the end";
    if (alone_ > 0) err_ << ", " << alone_ << " of them filtered alone";
    err_ << "\n";
  }

  const VideoSettings& settings_;
  std::ostream& err_;
  VideoSource source_;
  VideoProgress progress_;
  std::unique_ptr<VideoTarget> target_, compare_;
  std::unique_ptr<zolt_burst_stream, CloseStream> stream_;
  Channel<VideoItem> read_{kWaiting};
  Channel<CleanItem> clean_{kWaiting};
  std::deque<FrameHandle> waiting_;  ///< in the stream, as they were
  std::deque<PacketHandle> early_;
  std::exception_ptr write_failure_;
  zolt_burst_report report_ = {};
  int64_t alone_ = 0;
  size_t told_of_source_ = 0;
  bool stopped_ = false;
};

}  // namespace

void CleanVideo(const VideoSettings& settings, std::ostream& err) {
  const StopRequest listens;
  VideoRun(settings, err).Run();
}

}  // namespace zolt
