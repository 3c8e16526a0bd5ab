#ifndef PLATFORM_UUID_H_
#define PLATFORM_UUID_H_

// A new random (version 4) UUID as lower-case text in a malloc'ed buffer
// that the caller releases with free(); null when memory runs out.
char* UUID_CreateRandom();

#endif  // PLATFORM_UUID_H_
