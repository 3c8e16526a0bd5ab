#ifndef SRC_DB_CONFIG_READS_H_
#define SRC_DB_CONFIG_READS_H_

// Reading configuration: an object's stored state is up to five per-source
// values in one Config row; a read builds one object per present source and
// merges them (vital, cached, automatic, user; later ones win). All run on
// the caller's connection, inside whatever transaction it has open. Only a
// database result of exactly 1 is a failed read (ConfigStoreException 2000);
// a missing row is an empty result.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "configstore/config_store.h"
#include "row_reader.h"

namespace OrinConfigStore {

// The statement an object's row is read with (its template, formatted with
// IdentifierParts), and the merge of one such row: GetInternal is the two
// together; readers that need the row's sources as well share them.
const char* ObjectRowStatement();
std::shared_ptr<ConfigStoreObject> MergedRow(const RowView& row, const ConfigStoreObjectId& id,
                                             const SchemaPtr& schema);
// The merged object; null when nothing is stored. In the upgrade context a
// staged desired value stands in for the user value.
std::shared_ptr<ConfigStoreObject> GetInternal(const ConfigStoreObjectId& id,
                                               const Connection& connection,
                                               const SchemaPtr& schema);
// The automatic value overlaid by the user value.
std::shared_ptr<ConfigStoreObject> GetCurrentConfigInternal(const ConfigStoreObjectId& id,
                                                            const Connection& connection,
                                                            const SchemaPtr& schema);
// The object as the caller's context sees it: INTERNAL callers get no user
// part; EXTERNAL callers get it, during boot unconditionally for a
// boot-exempt type.
std::shared_ptr<ConfigStoreObject> GetConfigByBootAndContext(const ConfigStoreObjectId& id,
                                                             const SchemaPtr& schema,
                                                             const USERDATA_CONTEXT& context,
                                                             const Connection& connection);
// The desired value, or the user value when the desired one failed.
std::shared_ptr<ConfigStoreObject> GetDesiredInternal(const ConfigStoreObjectId& id,
                                                      const Connection& connection,
                                                      const SchemaPtr& schema);
// The merged default object; null (logged) when there is none.
std::shared_ptr<ConfigStoreObject> GetDefaultConfigInternal(const ConfigStoreObjectId& id,
                                                            const Connection& connection,
                                                            const SchemaPtr& schema);
// The instances the filter's identifier names whose data contains the
// filter's data; instances whose merge is empty are left out.
std::vector<std::shared_ptr<ConfigStoreObject>> GetConfigInstancesInternal(
    const std::shared_ptr<FilterSpecObject>& filter, const Connection& connection,
    const SchemaPtr& schema);
std::vector<std::shared_ptr<ConfigStoreObject>> GetDefaultConfigInstancesInternal(
    const std::shared_ptr<FilterSpecObject>& filter, const Connection& connection,
    const SchemaPtr& schema);

// The stored revision, or -1 when nothing is stored (ConfigStoreException
// 2000 "GetRevision command failed" when the read fails).
int GetRevisionInternal(const ConfigStoreObjectId& id, const Connection& connection);
// The instance ids of the identifier's type ("GetInstanceIds failed").
std::vector<std::string> GetInstanceIdsInternal(const ConfigStoreObjectId& id,
                                                const Connection& connection);
// (instance id, revision) of every instance of the type, or of the one the
// identifier names ("GetRevision command failed").
std::vector<std::pair<std::string, int>> GetInstancesRevisionInternal(const ConfigStoreObjectId& id,
                                                                      const Connection& connection);

// Whole-table and row reads for export, boot handling and kernel options.
RowList GetStoreRows(const std::string& statement, const Connection& connection);
RowList GetStoreContentsInternal(const std::string& table, const Connection& connection, bool all);
RowList GetStoreContentsInternalST(const std::string& expression, const Connection& connection,
                                   bool all);
RowList GetUserConfigContents(const Connection& connection);
RowList GetDesiredUserConfigContents(const Connection& connection);
// The rows of the types shared with the smart network card. Attaches the
// schema store as "ss" and leaves it attached on success (so a second call
// on the same connection fails with "Failed to attach schema store").
RowList GetSmartnicConfiguration(const Connection& connection);
RowMap Read(const std::string& table, const ConfigStoreObjectId& id, const Connection& connection,
            bool all);

}  // namespace OrinConfigStore

#endif  // SRC_DB_CONFIG_READS_H_
