// Replays saved inputs through a fuzz target's entry function, without
// libFuzzer: every regular file below the folders named on the command line
// (a README beside them is skipped) is read whole and handed over once. A
// failed check or a crash ends the process, which fails the test; the name
// of the input is printed first so that the failure says which one.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path folder(argv[i]);
    if (!std::filesystem::exists(folder)) continue;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      if (entry.is_regular_file() && entry.path().filename() != "README")
        inputs.push_back(entry.path());
    }
  }
  if (inputs.empty()) {
    std::fprintf(stderr, "no inputs found\n");
    return 1;
  }
  for (const auto& path : inputs) {
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const auto start = std::chrono::steady_clock::now();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    // An input that takes long is worth a look (libFuzzer calls a second a
    // hang by default); it does not fail the replay.
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                        std::chrono::steady_clock::now() - start)
                        .count();
    if (ms >= 100) std::fprintf(stderr, "slow: %lld ms\n", static_cast<long long>(ms));
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return 0;
}
