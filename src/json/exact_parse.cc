// Reading JSON text with every number exact.
//
// rapidjson's default reading of a fraction or an exponent may be a few
// units in the last place off, so a value written and read again drifts;
// its full-precision reading is right on most inputs but, in the version
// the host ships, wrong on some (zero digits with an exponent, certain long
// fractions) and undefined on others. Numbers are therefore taken from the
// reader as text and converted here: integers exactly, as rapidjson types
// them, and everything else as the nearest double.

#include <atomic>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include <locale.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stream.h>

#include "configstore/json_doc.h"
#include "json/exact_parse.h"

namespace OrinConfigStore {

namespace {

using rapidjson::SizeType;

// The "C" locale, so that a process's own locale never changes what a
// decimal point is.
locale_t CLocale() {
  static const locale_t locale = newlocale(LC_NUMERIC_MASK, "C", static_cast<locale_t>(nullptr));
  return locale;
}

// The nearest double to the number `text` (`length` characters); beyond
// the range of a double, an infinity of its sign.
double NearestDouble(const char* text, SizeType length) {
  const std::string copy(text, length);
  return strtod_l(copy.c_str(), nullptr, CLocale());
}

// Hands the number `text` to `document` as rapidjson's own reader types it:
// an integer as int, unsigned, int64 or uint64 (the narrowest that holds it
// with its sign), anything else, or an integer too long for 64 bits, as a
// double.
bool AddNumber(JDoc& document, const char* text, SizeType length) {
  const bool minus = length > 0 && text[0] == '-';
  std::uint64_t magnitude = 0;
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  for (SizeType i = minus ? 1 : 0; i < length; ++i) {
    const char c = text[i];
    const auto digit = static_cast<std::uint64_t>(c - '0');
    if (c < '0' || c > '9' || magnitude > (kMax - digit) / 10) {
      return document.Double(NearestDouble(text, length));
    }
    magnitude = magnitude * 10 + digit;
  }
  constexpr std::uint64_t kIntLimit = std::uint64_t{1} << 31;
  constexpr std::uint64_t kInt64Limit = std::uint64_t{1} << 63;
  if (minus && magnitude <= kIntLimit) {
    return document.Int(static_cast<int>(-static_cast<std::int64_t>(magnitude)));
  }
  if (minus && magnitude <= kInt64Limit) {
    // -2^63 has no positive counterpart: negate in unsigned arithmetic.
    return document.Int64(static_cast<std::int64_t>(~magnitude + 1));
  }
  if (minus) return document.Double(NearestDouble(text, length));
  if (magnitude <= std::numeric_limits<unsigned>::max()) {
    return document.Uint(static_cast<unsigned>(magnitude));
  }
  return document.Uint64(magnitude);
}

// The reader's events, passed on to the document unchanged but for numbers.
class ExactNumbers {
 public:
  explicit ExactNumbers(JDoc& document) : document_(document) {}

  bool Null() { return document_.Null(); }
  bool Bool(bool b) { return document_.Bool(b); }
  bool Int(int i) { return document_.Int(i); }
  bool Uint(unsigned i) { return document_.Uint(i); }
  bool Int64(std::int64_t i) { return document_.Int64(i); }
  bool Uint64(std::uint64_t i) { return document_.Uint64(i); }
  bool Double(double d) { return document_.Double(d); }
  bool RawNumber(const char* text, SizeType length, bool) {
    return AddNumber(document_, text, length);
  }
  bool String(const char* text, SizeType length, bool copy) {
    return document_.String(text, length, copy);
  }
  bool StartObject() { return document_.StartObject(); }
  bool Key(const char* text, SizeType length, bool copy) {
    return document_.Key(text, length, copy);
  }
  bool EndObject(SizeType count) { return document_.EndObject(count); }
  bool StartArray() { return document_.StartArray(); }
  bool EndArray(SizeType count) { return document_.EndArray(count); }

 private:
  JDoc& document_;
};

// A reader kept between parses, so that its stack, where strings are
// gathered, is not allocated afresh for each: a read of a list parses two
// or three texts per object. One spare is kept for the process (two atomic
// exchanges cost less than a thread-local lookup from a shared library);
// a parse that finds it taken uses a reader of its own. The spare's stack
// stays as large as the longest string it has gathered.
class SpareReader {
 public:
  SpareReader() : reader_(spare_.exchange(nullptr, std::memory_order_acquire)) {
    if (reader_ == nullptr) reader_ = new rapidjson::Reader();
  }
  ~SpareReader() {
    rapidjson::Reader* empty = nullptr;
    if (!spare_.compare_exchange_strong(empty, reader_, std::memory_order_release)) delete reader_;
  }
  SpareReader(const SpareReader&) = delete;
  SpareReader& operator=(const SpareReader&) = delete;

  rapidjson::Reader& operator*() const { return *reader_; }

 private:
  static std::atomic<rapidjson::Reader*> spare_;
  rapidjson::Reader* reader_;
};

std::atomic<rapidjson::Reader*> SpareReader::spare_{nullptr};

template <unsigned flags, typename Stream>
rapidjson::ParseResult ReadStream(JDoc& document, Stream& input) {
  rapidjson::ParseResult result;
  auto generate = [&](JDoc& handler) {
    ExactNumbers numbers(handler);
    const SpareReader reader;
    result = (*reader).Parse<flags | rapidjson::kParseNumbersAsStringsFlag>(input, numbers);
    return !result.IsError();
  };
  document.Populate(generate);
  return result;
}

template <unsigned flags>
rapidjson::ParseResult ReadInto(JDoc& document, const char* text, std::size_t length) {
  rapidjson::MemoryStream memory(text, length);
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(memory);
  return ReadStream<flags>(document, input);
}

}  // namespace

rapidjson::ParseResult ParseJsonText(JDoc& document, const char* text, std::size_t length,
                                     bool validateUtf8) {
  return validateUtf8 ? ReadInto<rapidjson::kParseValidateEncodingFlag>(document, text, length)
                      : ReadInto<rapidjson::kParseDefaultFlags>(document, text, length);
}

// The reader stops at a NUL as it stops at the end of a sized text, so a
// terminated text reads the same through the plain string stream, which
// checks no end on every character. The sized stream skips each byte of a
// UTF-8 byte order mark where it stands; so does this.
bool ParseTerminatedText(JDoc& document, const char* text) {
  for (const unsigned mark : {0xEFu, 0xBBu, 0xBFu}) {
    if (static_cast<unsigned char>(*text) == mark) ++text;
  }
  rapidjson::StringStream input(text);
  return !ReadStream<rapidjson::kParseDefaultFlags>(document, input).IsError();
}

}  // namespace OrinConfigStore
