// Builds a configuration value the way a host service would, reads it back,
// and shows how failures reach a caller. Prints one JSON document.
//
//   values_demo [--fail]
//
// With --fail it also tries a read of the wrong type and prints the error.

#include <configstore/configstore.h>

#include <cstring>
#include <iostream>

using namespace OrinConfigStore;

namespace {

StoreObject BuildKernelOptions() {
  StoreObject options(ConfigStoreObjectId("options", "kernix", "orin"));
  options.SetValue("bootDelay", 5);
  options.SetValue("console", "com1");
  options.SetValue("quiet", true);
  options.SetValue("modules", std::vector<std::string>{"netdev", "nvme"});
  options.AppendValue("modules", "iscsi");
  const unsigned char key[] = {0xde, 0xad, 0xbe, 0xef};
  options.SetValueBinary("bootKey", key, sizeof key);
  return options;
}

void PrintSummary(const StoreObject& options) {
  int delay = 0;
  std::vector<std::string> modules;
  options.GetValue("bootDelay", &delay);
  options.GetValue("modules", &modules);
  std::cout << "{\n  \"id\": \"" << options.GetConfigStoreObjectId().toString() << "\",\n"
            << "  \"hash\": \"" << std::hex << hashCsoId(options.GetConfigStoreObjectId())
            << std::dec << "\",\n"
            << "  \"bootDelay\": " << delay << ",\n"
            << "  \"modules\": " << modules.size() << ",\n"
            << "  \"data\": " << options.GetData();
}

}  // namespace

int main(int argc, char** argv) {
  const bool showFailure = argc > 1 && std::strcmp(argv[1], "--fail") == 0;
  try {
    const StoreObject options = BuildKernelOptions();
    PrintSummary(options);
    if (showFailure) {
      try {
        int console = 0;
        options.GetValue("console", &console);
      } catch (const ConfigStoreException& e) {
        std::cout << ",\n  \"error\": {\"code\": " << e.GetErrorCode() << ", \"message\": \""
                  << e.what() << "\"}";
      }
    }
    std::cout << "\n}\n";
    return 0;
  } catch (const ConfigStoreException& e) {
    std::cerr << e.toString();
    return 1;
  }
}
