#include "platform/base64.h"

#include <array>
#include <cstdint>

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPad = '=';
constexpr std::uint8_t kInvalid = 0xff;

constexpr std::array<std::uint8_t, 256> MakeDecodeTable() {
  std::array<std::uint8_t, 256> table{};
  for (auto& entry : table) entry = kInvalid;
  for (std::uint8_t i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = i;
  return table;
}

constexpr std::array<std::uint8_t, 256> kDecode = MakeDecodeTable();

std::size_t PaddingOf(const char* text, std::size_t length) {
  if (length < 4 || length % 4 != 0) return 0;
  if (text[length - 1] != kPad) return 0;
  return text[length - 2] == kPad ? 2 : 1;
}

}  // namespace

std::size_t Base64_EncodedLength(std::size_t length) { return (length + 2) / 3 * 4; }

bool Base64_Encode(const unsigned char* data, std::size_t length, char* out, std::size_t outSize) {
  if ((data == nullptr && length > 0) || outSize < Base64_EncodedLength(length)) return false;
  std::size_t o = 0;
  for (std::size_t i = 0; i < length; i += 3) {
    const std::size_t remaining = length - i;
    std::uint32_t group = std::uint32_t{data[i]} << 16;
    if (remaining > 1) group |= std::uint32_t{data[i + 1]} << 8;
    if (remaining > 2) group |= data[i + 2];
    out[o++] = kAlphabet[(group >> 18) & 0x3f];
    out[o++] = kAlphabet[(group >> 12) & 0x3f];
    out[o++] = remaining > 1 ? kAlphabet[(group >> 6) & 0x3f] : kPad;
    out[o++] = remaining > 2 ? kAlphabet[group & 0x3f] : kPad;
  }
  return true;
}

std::size_t Base64_DecodedLength(const char* text, std::size_t length) {
  if (text == nullptr || length % 4 != 0) return 0;
  return length / 4 * 3 - PaddingOf(text, length);
}

bool Base64_Decode(const char* text, std::size_t length, unsigned char* out, std::size_t outSize,
                   std::size_t* written) {
  if (text == nullptr || written == nullptr || length % 4 != 0) return false;
  const std::size_t padding = PaddingOf(text, length);
  const std::size_t needed = length / 4 * 3 - padding;
  if (outSize < needed || (needed > 0 && out == nullptr)) return false;
  const std::size_t dataChars = length - padding;
  std::size_t o = 0;
  for (std::size_t i = 0; i < length; i += 4) {
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 4; ++j) {
      const std::size_t at = i + j;
      std::uint8_t sextet = 0;
      if (at < dataChars) {
        sextet = kDecode[static_cast<unsigned char>(text[at])];
        if (sextet == kInvalid) return false;
      }
      group = (group << 6) | sextet;
    }
    const std::size_t bytes = (i + 4 <= dataChars) ? 3 : (dataChars - i) * 6 / 8;
    // The bits that the padding hides must be zero, else two texts would
    // decode to the same bytes.
    if (bytes < 3 && (group & ((1u << (8 * (3 - bytes))) - 1)) != 0) return false;
    for (std::size_t b = 0; b < bytes; ++b)
      out[o++] = static_cast<unsigned char>(group >> (16 - 8 * b));
  }
  *written = o;
  return true;
}
