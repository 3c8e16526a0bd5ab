#include <configstore/configstore.h>

int main() {
  OrinConfigStore::StoreObject object(OrinConfigStore::ConfigStoreObjectId("k", "g", "c"));
  object.SetValue("mtu", 1500);
  int mtu = 0;
  return object.GetValue("mtu", &mtu) == 1 && mtu == 1500 ? 0 : 1;
}
