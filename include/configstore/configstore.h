#ifndef CONFIGSTORE_CONFIGSTORE_H_
#define CONFIGSTORE_CONFIGSTORE_H_

// The whole public interface of the host configuration store.

#include "configstore/backup.h"
#include "configstore/boot.h"
#include "configstore/conditional.h"
#include "configstore/config_store.h"
#include "configstore/config_store_object.h"
#include "configstore/drift_compute.h"
#include "configstore/drift_object.h"
#include "configstore/error_codes.h"
#include "configstore/exceptions.h"
#include "configstore/exec.h"
#include "configstore/explain.h"
#include "configstore/export.h"
#include "configstore/filter_object.h"
#include "configstore/history.h"
#include "configstore/host.h"
#include "configstore/json.h"
#include "configstore/json_doc.h"
#include "configstore/logger.h"
#include "configstore/object_id.h"
#include "configstore/provisioning.h"
#include "configstore/rollback.h"
#include "configstore/schema_evolution.h"
#include "configstore/store_check.h"
#include "configstore/store_object.h"

#endif  // CONFIGSTORE_CONFIGSTORE_H_
