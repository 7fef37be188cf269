// The parser token and the current token that diagnostics take their
// position from.
#pragma once
#include <cstdint>

struct Token {
    std::uint16_t code;
    std::uint32_t line;
    std::uint16_t column;
    std::uint16_t length;  // length of the source spelling of the first piece
    std::uintptr_t value;
};

// The token the parser is looking at, or null before the first one.
extern Token *current_token;
