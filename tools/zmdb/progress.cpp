#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "zmdb/runtime/convert.h"

namespace zmdb::cli {

namespace {
// At most ten redraws a second: drawing must not slow the copy it reports.
constexpr auto kRedrawInterval = std::chrono::milliseconds(100);

std::string CountText(double v) {
  return std::to_string(static_cast<long long>(std::llround(v)));
}
}  // namespace

std::string RenderProgress(double value, double max, int width) {
  if (max <= 0) return CountText(value);
  const double shown = std::clamp(value, 0.0, max);
  const int percent = static_cast<int>(std::floor(shown * 100.0 / max));
  // The count is padded to the total's digits, so the line keeps its width
  // as the count grows.
  const std::string total = CountText(max);
  std::string count = CountText(value);
  if (count.size() < total.size()) count.insert(0, total.size() - count.size(), ' ');
  std::string tail = std::to_string(percent) + "% " + count + "/" + total;
  tail.insert(0, 5 + count.size() + 1 + total.size() + 1 - tail.size(), ' ');
  const int barWidth = std::max(width - static_cast<int>(tail.size()) - 2, 0);
  const auto filled = static_cast<int>(std::floor(shown * barWidth / max));
  std::string line = "[";
  line.append(static_cast<std::size_t>(filled), '#');
  line.append(static_cast<std::size_t>(barWidth - filled), '.');
  return line + "]" + tail;
}

TerminalProgress::TerminalProgress(std::FILE* out, bool enabled, int width)
    : out_(out), enabled_(enabled), width_(width) {}

TerminalProgress::~TerminalProgress() {
  Finish();
}

rt::Variant TerminalProgress::GetProperty(std::string_view name,
                                          const std::vector<rt::Variant>& index) {
  if (rt::NameEquals(name, "Visible")) return rt::Variant(visible_);
  if (rt::NameEquals(name, "Max")) return rt::Variant(max_);
  if (rt::NameEquals(name, "Min")) return rt::Variant(min_);
  if (rt::NameEquals(name, "Value")) return rt::Variant(value_);
  return Object::GetProperty(name, index);
}

// A terminal bar never refuses a value: a count past the expected total
// (the total is only an estimate for a restore) shows as a full bar.
void TerminalProgress::SetProperty(std::string_view name, const rt::Variant& value,
                                   const std::vector<rt::Variant>& index) {
  if (rt::NameEquals(name, "Visible")) {
    visible_ = rt::CBool(value);
  } else if (rt::NameEquals(name, "Max")) {
    max_ = rt::CDbl(value);
    Draw(true);
  } else if (rt::NameEquals(name, "Min")) {
    min_ = rt::CDbl(value);
  } else if (rt::NameEquals(name, "Value")) {
    value_ = rt::CDbl(value);
    Draw(false);
  } else {
    Object::SetProperty(name, value, index);
  }
}

void TerminalProgress::Draw(bool force) {
  if (!enabled_) return;
  const auto now = std::chrono::steady_clock::now();
  if (!force && redraws_ > 0 && now - lastDraw_ < kRedrawInterval) return;
  lastDraw_ = now;
  ++redraws_;
  std::fprintf(out_, "\r%s", RenderProgress(value_ - min_, max_ - min_, width_).c_str());
  std::fflush(out_);
}

void TerminalProgress::Finish() {
  if (!enabled_ || redraws_ == 0) return;
  Draw(true);
  std::fputc('\n', out_);
  std::fflush(out_);
  enabled_ = false;
}

bool StderrIsTerminal() {
  return ::isatty(STDERR_FILENO) == 1;
}

}  // namespace zmdb::cli
