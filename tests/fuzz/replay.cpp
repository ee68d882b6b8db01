// Runs a harness once over each file of the folders given: the corpus's
// inputs, every one of which once made the harness fail, as a plain test.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

int main(int argc, char **argv) {
  namespace fs = std::filesystem;
  int inputs = 0;
  for (int i = 1; i < argc; ++i)
    for (const fs::directory_entry &entry : fs::directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(in), {}};
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
      ++inputs;
    }
  std::printf("%d inputs\n", inputs);
  return inputs > 0 ? 0 : 1;
}
