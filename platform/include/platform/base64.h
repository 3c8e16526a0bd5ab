#ifndef PLATFORM_BASE64_H_
#define PLATFORM_BASE64_H_

// Base64 as RFC 4648 defines it: the standard alphabet, with padding.
// The decoder is strict: it refuses text whose length is not a multiple of
// four, characters outside the alphabet, misplaced padding and non-zero
// padding bits, so that decode(encode(x)) == x and every accepted text is
// the encoding of exactly one byte string.

#include <cstddef>

// Number of characters that encoding `length` bytes produces.
std::size_t Base64_EncodedLength(std::size_t length);

// Writes the encoding of `length` bytes to `out`, which has room for
// `outSize` characters (no terminator is written). False when `out` is too
// small or `data` is null with a non-zero length.
bool Base64_Encode(const unsigned char* data, std::size_t length, char* out, std::size_t outSize);

// Number of bytes that `text` decodes to, judged from its length and padding
// alone; 0 for a length that is not a multiple of four.
std::size_t Base64_DecodedLength(const char* text, std::size_t length);

// Decodes `length` characters into `out` (room for `outSize` bytes) and
// stores the byte count in `written`. False for text that is not valid.
bool Base64_Decode(const char* text, std::size_t length, unsigned char* out, std::size_t outSize,
                   std::size_t* written);

#endif  // PLATFORM_BASE64_H_
