// Runs a fuzz target once over every file of the folders named as arguments, and over the empty
// input. A fault ends the program: by the sanitizers, or by the target's own checks.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

void replay(const std::string &input) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.data()), input.size());
}

} // namespace

int main(int argc, char **argv) {
  replay("");
  for (int i = 1; i < argc; ++i) {
    for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      replay(std::string(std::istreambuf_iterator<char>(file), {}));
    }
  }
}
