// The Base64 codec: the usual test vectors, every byte value, and strictness.

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

// The decoded bytes, or "refused".
std::string Decode(const std::string& text) {
  std::string out(Base64_DecodedLength(text.data(), text.size()), '\0');
  std::size_t written = 0;
  if (!Base64_Decode(text.data(), text.size(), reinterpret_cast<unsigned char*>(out.data()),
                     out.size(), &written)) {
    return "refused";
  }
  return out.substr(0, written);
}

TEST(Base64, TestVectorsAndEveryByteValue) {
  const std::pair<std::string, std::string> vectors[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, encoded] : vectors) {
    EXPECT_EQ(Encode(plain), encoded);
    EXPECT_EQ(Decode(encoded), plain);
  }
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  for (std::size_t cut = 250; cut <= all.size(); ++cut) {
    EXPECT_EQ(Decode(Encode(all.substr(0, cut))), all.substr(0, cut));
  }
  char small[3];
  EXPECT_FALSE(Base64_Encode(reinterpret_cast<const unsigned char*>("f"), 1, small, sizeof small));
}

TEST(Base64, RefusesMalformedText) {
  for (const char* bad :
       {"Zg=", "Zm9", "Z===", "====", "Zg==Zg==", "Zm=v", "Zm9v!A==", "Zh==", "Zm9=", "Zm 9v"}) {
    EXPECT_EQ(Decode(bad), "refused") << bad;
  }
}

}  // namespace
