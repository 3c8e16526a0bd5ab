#ifndef CONFIGSTORE_STORE_OBJECT_H_
#define CONFIGSTORE_STORE_OBJECT_H_

#include <memory>
#include <string>
#include <vector>

#include "configstore/export.h"
#include "configstore/json.h"
#include "configstore/json_doc.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

class StoreObjectImpl;

// A typed view of one JSON object: the data of a configuration object, of one
// of its sub-objects, or of a filter specification. Each accessor names a
// member ("key") of that object.
//
// Getters return 0 when the member is absent or holds JSON null (the output
// is left untouched), 1 when it was found in the object's own data, and 2
// when it came from the defaults of a configuration object. A member of the
// wrong JSON type raises InvalidTypeException 2000 "Invalid type specified
// for: <key>". Integer getters accept a number only when it fits the target
// (unsigned short and unsigned char read any unsigned 32-bit number and keep
// its low bits); the scalar double getter accepts only numbers held as
// floating point, so 5 written without a fraction is refused.
//
// An empty key raises InvalidArgumentException 2000 "key cannot be empty";
// so does a null key in getters and setters, while CheckKey, Remove,
// SetValueEmptyList and the appenders raise ConfigStoreException 2000
// "Invalid JSON" for it. A null output pointer raises
// InvalidArgumentException 2000 "Output pointer cannot be null.".
//
// Setters replace an existing non-null member in place, whatever its type,
// and otherwise append a new member; a member holding JSON null is left
// beside the new one, and lookups skip null members so that reads and later
// writes see the new one. Appenders need an existing array member and check
// the new element only against the array's first element.
//
// Copies of a StoreObject share one implementation and document; views of
// one document are used by one thread at a time.
class CONFIGSTORE_API StoreObject {
 public:
  // A new object with an empty JSON object as data.
  explicit StoreObject(const ConfigStoreObjectId& id);
  virtual ~StoreObject();

  const ConfigStoreObjectId& GetConfigStoreObjectId() const;

  int GetValue(const char* key, std::string* out) const;
  int GetValue(const char* key, int* out) const;
  int GetValue(const char* key, long* out) const;
  int GetValue(const char* key, long long* out) const;
  int GetValue(const char* key, unsigned int* out) const;
  int GetValue(const char* key, unsigned short* out) const;
  int GetValue(const char* key, unsigned char* out) const;
  int GetValue(const char* key, bool* out) const;
  int GetValue(const char* key, double* out) const;

  // `out` must be empty (else InvalidArgumentException 2000 "Output vector
  // must be empty."); the member must be an array. Elements are appended in
  // order; an element of the wrong type raises ConfigStoreException 2000
  // "Invalid JSON" and leaves the elements read before it in `out`. The
  // double form accepts integers too.
  int GetValue(const char* key, std::vector<std::string>* out) const;
  int GetValue(const char* key, std::vector<int>* out) const;
  int GetValue(const char* key, std::vector<long long>* out) const;
  int GetValue(const char* key, std::vector<double>* out) const;
  int GetValue(const char* key, std::vector<bool>* out) const;

  // Reads a Base64 string member into a new byte array that the caller
  // releases with delete[]. Undecodable text raises ConfigStoreException
  // 2000 "Failed to decode binary value".
  int GetValueBinary(const char* key, unsigned char** data, unsigned long* length) const;

  void SetValue(const char* key, const char* value);
  void SetValue(const char* key, const std::string& value);
  void SetValue(const char* key, int value);
  void SetValue(const char* key, long value);
  void SetValue(const char* key, long long value);
  void SetValue(const char* key, unsigned int value);
  void SetValue(const char* key, unsigned short value);
  void SetValue(const char* key, unsigned char value);
  void SetValue(const char* key, bool value);
  // NaN and infinities have no JSON form and raise InvalidArgumentException
  // 1032 "Invalid value for key <key>".
  void SetValue(const char* key, double value);
  void SetValue(const char* key, float value);
  // Replaces the member with an array of `values` (instantiated for int and
  // std::string).
  template <typename T>
  void SetValue(const char* key, const std::vector<T>& values);
  // Stores the bytes as Base64 text.
  void SetValueBinary(const char* key, const unsigned char* data, unsigned long length);
  // Replaces the member with an empty array, moved to the end of the object.
  // Every member of that name is removed first, duplicates included, so that
  // no earlier member can shadow the new list.
  void SetValueEmptyList(const char* key);

  void AppendValue(const char* key, int value);
  void AppendValue(const char* key, long long value);
  void AppendValue(const char* key, double value);
  void AppendValue(const char* key, bool value);
  void AppendValue(const char* key, const std::string& value);
  // Appends a string: without this overload a literal would convert to bool.
  void AppendValue(const char* key, const char* value);

  // The member's value, or null when it is absent or holds JSON null.
  const JVal* GetValuePtr(const char* key) const;
  // Whether the member exists (a member holding JSON null counts).
  bool CheckKey(const char* key);
  // Removes the member; false when there was none. The remaining members
  // may be reordered.
  bool Remove(const char* key);
  // The object as compact JSON text.
  std::string GetData() const;
  // True for an object without members.
  bool IsEmpty() const;
  // Replaces the data with the parsed text (the view then shows the new
  // document's root). Null does nothing; text that does not parse raises
  // InvalidArgumentException 1080, and text that is not a JSON object raises
  // InvalidArgumentException 1082; the data is then unchanged.
  void SetData(const char* json);

 protected:
  // For the library's own handles over derived implementations.
  CONFIGSTORE_LOCAL explicit StoreObject(std::shared_ptr<StoreObjectImpl> impl);
  StoreObjectImpl& Impl() const { return *impl_; }
  const std::shared_ptr<StoreObjectImpl>& ImplPtr() const { return impl_; }

 private:
  std::shared_ptr<StoreObjectImpl> impl_;
};

extern template void StoreObject::SetValue<int>(const char*, const std::vector<int>&);
extern template void StoreObject::SetValue<std::string>(const char*,
                                                        const std::vector<std::string>&);

// Base64 (RFC 4648, padded) text of `length` bytes into `out`; false when
// the encoder fails.
CONFIGSTORE_API bool EncodeBinary(const unsigned char* data, unsigned long length,
                                  std::string& out);

// Decodes Base64 text into a new byte array (release with delete[]); false,
// with nothing allocated, when the text is not valid Base64.
CONFIGSTORE_API bool DecodeBinary(std::string& in, unsigned char** data, unsigned long* length);

}  // namespace OrinConfigStore

#endif  // CONFIGSTORE_STORE_OBJECT_H_
