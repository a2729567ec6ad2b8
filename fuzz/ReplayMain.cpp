// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over the files given, without a fuzzer.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        if (!file) {
            fprintf(stderr, "%s: can not be read\n", argv[i]);
            return 2;
        }
        const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    }
    printf("%d inputs\n", argc - 1);
    return argc > 1 ? 0 : 2;
}
