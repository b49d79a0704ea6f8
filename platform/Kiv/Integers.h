#pragma once

#include <cstdint>

/// The platform's names for unsigned integers of a known width. They stand in the global
/// namespace, as the platform has them.
using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
