#ifndef SRC_OBJECTS_STORE_OBJECT_IMPL_H_
#define SRC_OBJECTS_STORE_OBJECT_IMPL_H_

#include <memory>
#include <string>
#include <vector>

#include "configstore/json.h"
#include "configstore/json_doc.h"
#include "configstore/object_id.h"

namespace OrinConfigStore {

// The implementation behind StoreObject: an object id and a view (JsonDoc)
// of one JSON object. Every accessor resolves the view's path afresh. The
// contracts of the accessors are those documented on StoreObject.
class StoreObjectImpl {
 public:
  // A new document whose root is an empty JSON object.
  explicit StoreObjectImpl(const ConfigStoreObjectId& id);
  // A view of an existing document, for objects that share one.
  StoreObjectImpl(const ConfigStoreObjectId& id, std::shared_ptr<JsonDoc> document);

  // The member's value or null, and whether it came from defaults. Here it
  // is GetValuePtr; configuration objects fall back on their defaults.
  virtual const JVal* GetValuePtrDefault(const char* key, bool& fromDefault) const;
  virtual ~StoreObjectImpl();

  const ConfigStoreObjectId& GetConfigStoreObjectId() const { return id_; }
  const std::shared_ptr<JsonDoc>& GetJsonDoc() const { return document_; }
  // The JSON value of the data: the view's place in its document.
  JVal& DataValue() const { return Value(); }

  int GetValue(const char* key, std::string* out) const;
  int GetValue(const char* key, int* out) const;
  int GetValue(const char* key, long* out) const;
  int GetValue(const char* key, long long* out) const;
  int GetValue(const char* key, unsigned int* out) const;
  int GetValue(const char* key, unsigned short* out) const;
  int GetValue(const char* key, unsigned char* out) const;
  int GetValue(const char* key, bool* out) const;
  int GetValue(const char* key, double* out) const;

  int GetValue(const char* key, std::vector<std::string>* out) const;
  int GetValue(const char* key, std::vector<int>* out) const;
  int GetValue(const char* key, std::vector<long long>* out) const;
  int GetValue(const char* key, std::vector<double>* out) const;
  int GetValue(const char* key, std::vector<bool>* out) const;

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
  void SetValue(const char* key, double value);
  void SetValue(const char* key, float value);
  void SetValue(const char* key, const std::vector<int>& values);
  void SetValue(const char* key, const std::vector<std::string>& values);
  void SetValueBinary(const char* key, const unsigned char* data, unsigned long length);
  void SetValueEmptyList(const char* key);

  void AppendValue(const char* key, int value);
  void AppendValue(const char* key, long long value);
  void AppendValue(const char* key, double value);
  void AppendValue(const char* key, bool value);
  void AppendValue(const char* key, const std::string& value);
  void AppendValue(const char* key, const char* value);

  const JVal* GetValuePtr(const char* key) const;
  bool CheckKey(const char* key) const;
  bool Remove(const char* key);
  std::string GetData() const;
  bool IsEmpty() const;
  void SetData(const char* json);

 protected:
  // Logs a sub-object operation at the read-trace priority.
  static void TraceSubObject(const char* operation, const SubObjectId& sid);
  // The JSON value this view edits.
  JVal& Value() const { return *document_->GetJsonValuePtr(); }
  JAllocator& Allocator() const { return document_->GetAllocator(); }

 private:
  template <typename T>
  int GetScalar(const char* key, T* out) const;
  template <typename T, typename ReadElement>
  int GetValueVector(const char* key, std::vector<T>* out, ReadElement read) const;
  template <typename Assign>
  void SetScalar(const char* key, Assign assign);
  template <typename Check>
  JVal& ValidateAppend(const char* key, Check check);
  template <typename T>
  void SetList(const char* key, const std::vector<T>& values);

  ConfigStoreObjectId id_;
  std::shared_ptr<JsonDoc> document_;
};

// Raises InvalidTypeException 2000 "Invalid type specified for: <key>".
[[noreturn]] void ThrowInvalidType(const char* key);

// Raises InvalidArgumentException 2000 "key cannot be empty" for a null or
// empty key.
void RequireKey(const char* key);

}  // namespace OrinConfigStore

#endif  // SRC_OBJECTS_STORE_OBJECT_IMPL_H_
