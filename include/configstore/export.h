#ifndef CONFIGSTORE_EXPORT_H_
#define CONFIGSTORE_EXPORT_H_

// The shared library is built with hidden visibility; only declarations
// marked CONFIGSTORE_API form its exported interface.
// CONFIGSTORE_LOCAL keeps a member of an exported class inside the library.
#if defined(__GNUC__)
#define CONFIGSTORE_API __attribute__((visibility("default")))
#define CONFIGSTORE_LOCAL __attribute__((visibility("hidden")))
#else
#define CONFIGSTORE_API
#define CONFIGSTORE_LOCAL
#endif

#endif  // CONFIGSTORE_EXPORT_H_
