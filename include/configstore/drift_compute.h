#ifndef CONFIGSTORE_DRIFT_COMPUTE_H_
#define CONFIGSTORE_DRIFT_COMPUTE_H_

// Computing drift: the drift text (see drift_object.h) that takes one
// configuration object's data from a reference state to a desired one, and
// the drift of a whole export document against the store.

#include <memory>
#include <string>
#include <vector>

#include "configstore/config_store.h"
#include "configstore/config_store_object.h"
#include "configstore/drift_object.h"
#include "configstore/export.h"
#include "configstore/json.h"
#include "configstore/json_doc.h"

namespace OrinConfigStore {

// The drift text from `reference` to `desired`, two JSON objects holding
// one object's data, as compact JSON text that CreateDriftObject reads; "{}"
// when they hold the same data. `instanceKeys` is the type's id map (as
// ConfigStoreObject::GetIdMapStr gives it): a JSON object naming each
// repeated sub-object and the member holding its instances' ids.
//
// Each member that differs appears once, in the desired data's order, then
// the deleted ones in the reference's order:
//   - only in `desired`: "ADD"; only in `reference`: "DELETE";
//   - a repeated sub-object: an array with one entry per instance that
//     differs, matched by instance id ({"INSTANCEID": <id>, "DRIFTOP":
//     "ADD"} or "DELETE", or "DRIFTOBJ": <the instance's own drift text>);
//     the instances' order does not count, and when `reference` holds no
//     array there every instance is "ADD";
//   - an object in both (a singleton sub-object): its own drift text;
//   - an object that replaces something else: the drift text from an empty
//     object, every member "ADD";
//   - any other change: the new value, which the drift reads as "SET". The
//     format cannot tell a new text "ADD" or "DELETE" from the operation of
//     that name, nor a new plain array from instance entries (walks refuse
//     it; the parent's GetData shows it).
// So every nested object of the text is itself drift text that the
// sub-object walks of DriftObject read.
//
// Anything but objects for `reference`, `desired` and `instanceKeys`, or an
// instance of a repeated sub-object without a text instance id, raises
// ConfigStoreException 2000 "Invalid JSON".
CONFIGSTORE_API std::string ComputeDriftText(const JVal& reference, const JVal& desired,
                                             const JVal& instanceKeys);

// The drift of one configuration object from `reference` to `desired`
// (their data as GetData shows it, the id map taken from the objects): null
// when both are null or hold the same data; otherwise a drift object for
// the desired object's identifier (the reference's when there is no desired
// one) with the operation "ADD" when `reference` is null, "DELETE" when
// `desired` is null and "SET" otherwise, and ComputeDriftText of the two
// data, an absent side counting as an empty object. Objects of different
// types raise InvalidArgumentException 2000 "Drift between different types:
// <reference id> and <desired id>".
CONFIGSTORE_API std::shared_ptr<DriftObject> ComputeDrift(
    const std::shared_ptr<ConfigStoreObject>& reference,
    const std::shared_ptr<ConfigStoreObject>& desired);

// The drift of the store from an export document (the desired state,
// {"<component>": {"<group>": {"<key>": <data> | [<instance data>, ...]}}}
// as Export writes it): for each type the document names, ComputeDrift of
// each stored object, as Export shows it, to the document's object of the
// same identifier, leaving out those that hold the same data. An object
// missing from the store is "ADD", an instance the document's array lacks
// "DELETE", so that importing the document would leave the store without
// drift. Ordered by component, group, key and instance id.
//
// The document is validated whole first, as Import validates it: problems
// (an unknown type among them) raise ValidationException 2000 "Drift
// document failed validation" with every error. The store is read through
// Export, in one transaction on the store's connection. A null store raises
// InvalidArgumentException 2000 "Drift needs a store".
CONFIGSTORE_API std::vector<std::shared_ptr<DriftObject>> ComputeDocumentDrift(
    const std::shared_ptr<ConfigStore>& store, const std::shared_ptr<JsonDoc>& document);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_DRIFT_COMPUTE_H_
