// The Base64 codec, against RFC 4648's test vectors and its strictness rules.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "platform/base64.h"

namespace {

std::string Encode(const std::string& bytes) {
  std::string out(Base64_EncodedLength(bytes.size()), '\0');
  EXPECT_TRUE(Base64_Encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                            out.data(), out.size()));
  return out;
}

bool Decode(const std::string& text, std::string* bytes) {
  std::string out(Base64_DecodedLength(text.data(), text.size()), '\0');
  std::size_t written = 0;
  if (!Base64_Decode(text.data(), text.size(), reinterpret_cast<unsigned char*>(out.data()),
                     out.size(), &written)) {
    return false;
  }
  *bytes = out.substr(0, written);
  return true;
}

TEST(Base64, Rfc4648TestVectors) {
  const std::pair<std::string, std::string> vectors[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
  };
  for (const auto& [plain, encoded] : vectors) {
    EXPECT_EQ(Encode(plain), encoded);
    std::string decoded = "junk";
    ASSERT_TRUE(Decode(encoded, &decoded)) << encoded;
    EXPECT_EQ(decoded, plain);
  }
}

TEST(Base64, EveryByteValueRoundTrips) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  for (std::size_t cut = 250; cut <= all.size(); ++cut) {
    std::string back;
    ASSERT_TRUE(Decode(Encode(all.substr(0, cut)), &back));
    EXPECT_EQ(back, all.substr(0, cut));
  }
}

TEST(Base64, RefusesMalformedText) {
  std::string ignored;
  for (const char* bad :
       {"Zg=", "Zm9", "Z===", "====", "Zg==Zg==", "Zm=v", "Zm9v!A==", "Zh==", "Zm9=", "Zm 9v"}) {
    EXPECT_FALSE(Decode(bad, &ignored)) << bad;
  }
}

}  // namespace
