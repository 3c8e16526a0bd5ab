#include "platform/uuid.h"

#include <uuid/uuid.h>

#include <cstdlib>

char* UUID_CreateRandom() {
  constexpr std::size_t kTextSize = 37;  // 36 characters and the terminator
  char* text = static_cast<char*>(std::malloc(kTextSize));
  if (text == nullptr) return nullptr;
  uuid_t uuid;
  uuid_generate_random(uuid);
  uuid_unparse_lower(uuid, text);
  return text;
}
