#ifndef SRC_ERRORS_LOGGER_SETTINGS_H_
#define SRC_ERRORS_LOGGER_SETTINGS_H_

namespace OrinConfigStore {

// Reads CONFIGSTORE_LOG and CONFIGSTORE_LOG_LEVEL again (the logger reads
// them once, at its first use). For tests of the environment rules.
void ReloadLoggerSettings();

}  // namespace OrinConfigStore

#endif  // SRC_ERRORS_LOGGER_SETTINGS_H_
