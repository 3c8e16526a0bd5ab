// Import documents: a fuzzed export document imported into the sample
// store; when it is accepted, the export of its types must import again and
// export the same document.

#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "configstore/json_doc.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"

namespace cfuzz {

namespace {

using OrinConfigStore::ConfigStoreObjectId;
using OrinConfigStore::FilterSpecObject;
using OrinConfigStore::JsonDoc;
using Filters = std::vector<std::shared_ptr<FilterSpecObject>>;

// A filter for every type the document names ({component: {group: {key:
// ...}}}); an accepted document has that shape.
Filters TypesOf(const JsonDoc& document) {
  Filters filters;
  for (const auto& component : document.GetDocument().GetObject()) {
    for (const auto& group : component.value.GetObject()) {
      for (const auto& key : group.value.GetObject()) {
        filters.push_back(std::make_shared<FilterSpecObject>(ConfigStoreObjectId(
            key.name.GetString(), group.name.GetString(), component.name.GetString())));
      }
    }
  }
  return filters;
}

std::string Text(const std::shared_ptr<JsonDoc>& document) {
  return OrinConfigStore::SerializeJson(document->GetDocument());
}

// What a refusal says, the validation errors included.
std::string Reason(const OrinConfigStore::ConfigStoreException& e) {
  std::string reason = e.what();
  if (const auto* refused = dynamic_cast<const OrinConfigStore::ValidationException*>(&e)) {
    for (const auto& error : refused->GetErrors())
      reason += "; " + error.field + ": " + error.error;
  }
  return reason;
}

std::shared_ptr<JsonDoc> Export(OrinConfigStore::ConfigStore& store, const Filters& types) {
  try {
    return store.Export(types);
  } catch (const OrinConfigStore::ConfigStoreException& e) {
    Fail("exporting imported types failed: " + Reason(e));
  }
}

}  // namespace

void ImportRoundTrip(const std::string& input) {
  std::shared_ptr<JsonDoc> document;
  if (!Attempt([&] { document = OrinConfigStore::CreateDocumentFromString(input); })) return;
  auto& store = SampleStore();
  OrinConfigStore::ConfigStoreTransaction transaction(store);
  if (Attempt([&] { store->Import(document, OrinConfigStore::EXTERNAL); })) {
    const Filters types = TypesOf(*document);
    const auto exported = Export(*store, types);
    try {
      store->Import(exported, OrinConfigStore::EXTERNAL);
    } catch (const OrinConfigStore::ConfigStoreException& e) {
      Fail("an export does not import again (" + Reason(e) + "): " + Text(exported));
    }
    const auto again = Export(*store, types);
    if (Text(again) != Text(exported)) {
      Fail("an export imported again exports otherwise: " + Text(exported) + " became " +
           Text(again));
    }
  }
  CancelInput(transaction);
}

}  // namespace cfuzz
