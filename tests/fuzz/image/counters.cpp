// Linked into the fuzzed image: passes its coverage counters to the fuzzer when the image is unloaded. The fuzzer
// cannot read them in place, because every run loads the image anew.
#include <cstdint>

// The fuzzer's own.
extern "C" void TakeCounters(const std::uint8_t* begin, const std::uint8_t* end);

namespace
{

const std::uint8_t* g_begin = nullptr;
const std::uint8_t* g_end = nullptr;

// The image's last destructor.
[[gnu::destructor(101)]] void HandOver()
{
    TakeCounters(g_begin, g_end);
}

} // namespace

// The compiler calls this function when the image is loaded.
extern "C" void __sanitizer_cov_8bit_counters_init(std::uint8_t* begin, std::uint8_t* end)
{
    g_begin = begin;
    g_end = end;
}
