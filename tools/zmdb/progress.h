// A progress bar drawn on the terminal. It is a control the library drives
// through the same late-bound members as a progress bar on a form (type name
// "ProgressBar": Visible, Min, Max, Value), so the backup and restore methods
// move it themselves when it is handed to them as their Ctrl argument.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/object.h"

namespace zmdb::cli {

// One line of the bar, `width` columns in all: "[#####.....]  42% 420/1000".
// A maximum of 0 or less shows only the count; values outside 0..max are
// clamped for the bar and the percentage, and the count shows as it is.
std::string RenderProgress(double value, double max, int width);

class TerminalProgress : public rt::Object {
 public:
  // Draws on `out` (stderr) only when `enabled`; with it off the bar keeps
  // its values and draws nothing.
  TerminalProgress(std::FILE* out, bool enabled, int width = 60);
  ~TerminalProgress() override;

  std::string TypeName() const override { return "ProgressBar"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant DefaultValue() override { return rt::Variant(value_); }

  // Draw the final state and end the line (only if anything was drawn).
  void Finish();

  double value() const { return value_; }
  double max() const { return max_; }
  int redraws() const { return redraws_; }

 private:
  void Draw(bool force);

  std::FILE* out_;
  bool enabled_;
  int width_;
  bool visible_ = false;
  double min_ = 0, max_ = 0, value_ = 0;
  int redraws_ = 0;
  std::chrono::steady_clock::time_point lastDraw_{};
};

// Whether a progress bar should be drawn: stderr is a terminal.
bool StderrIsTerminal();

}  // namespace zmdb::cli
