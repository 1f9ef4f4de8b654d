// libFuzzer entry point; FUZZ_TARGET names the target ("bif", "gzip", ...).
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const samplenet::fuzzing::Target target = *samplenet::fuzzing::targetNamed(FUZZ_TARGET);
    samplenet::fuzzing::consume(target, std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
