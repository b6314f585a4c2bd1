#pragma once

#include <cstdint>

// Hashing that gives the same numbers on every run and every machine, so
// the simulated terrain and maps depend on position alone.
namespace StableHash {

// One splitmix64 step: a well-mixed 64-bit value from any input.
inline std::uint64_t mix(std::uint64_t x)
{
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

// A value in [0, 1) from the top 53 bits.
inline double unit(std::uint64_t bits) { return double(bits >> 11) / double(1ull << 53); }

}
