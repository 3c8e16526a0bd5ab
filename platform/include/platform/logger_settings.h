#ifndef PLATFORM_LOGGER_SETTINGS_H_
#define PLATFORM_LOGGER_SETTINGS_H_

namespace OrinConfigStore {

// Reads CONFIGSTORE_LOG and CONFIGSTORE_LOG_LEVEL again (the logger reads
// them once, at its first use). For tests of the environment rules.
void ReloadLoggerSettings();

}  // namespace OrinConfigStore

#endif  // PLATFORM_LOGGER_SETTINGS_H_
