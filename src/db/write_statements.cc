#include "write_statements.h"

namespace OrinConfigStore {

namespace {

const std::string kRowMatch =
    " from config where identifier='%1$s' and name='%2$s' and configgroup='%3$s' and "
    "component='%4$s')";
// A new row gets the current time, an existing one keeps its own.
const std::string kCreationTimeKept =
    "coalesce((select CreationTime" + kRowMatch + ", (datetime(CURRENT_TIMESTAMP))), ";
// A new row gets revision 1, an existing one its revision plus one.
const std::string kRevisionAdvanced =
    "coalesce(( select Revision from config where identifier='%1$s' and name='%2$s' and "
    "configgroup='%3$s' and component='%4$s'),( 0 )) + 1, ";
const std::string kContextValues = "values ('%2$s', '%3$s', '%4$s', '%1$s', '%5$s', ";
const std::string kInstanceRowStart = "('%1$s', '%2$s', '%3$s', '%4$s', '%5$s', ";
const std::string kBoundLast = "?)";
const std::string kWhereRow =
    " where name='%s' and configgroup='%s' and component='%s' and identifier='%s';";

// The existing row's value of `column`, or `fallback` for a new row.
std::string Kept(const std::string& column, const std::string& fallback = "null") {
  return "coalesce((select " + column + kRowMatch + ", " + fallback + "), ";
}

std::string InstanceRow(const std::string& kept) {
  return kInstanceRowStart + kCreationTimeKept + kRevisionAdvanced + kept + kBoundLast;
}

WriteStatements Compose() {
  WriteStatements s;
  s.userDroppingDesired =
      "insert or replace into config( name, configgroup, component, identifier, version, "
      "CreationTime, Revision, AutoConfValue, UserValue, VitalValue, CachedValue, DesiredValue) " +
      kContextValues + kCreationTimeKept + kRevisionAdvanced + Kept("AutoConfValue") +
      "?, ?, ?, null);";
  s.userKeepingSuccess =
      "insert or replace into config( name, configgroup, component, identifier, version, "
      "CreationTime, Revision, success, AutoConfValue, UserValue, VitalValue, CachedValue) " +
      kContextValues + kCreationTimeKept + kRevisionAdvanced + Kept("success", "1") +
      Kept("AutoConfValue") + "?, ?, ?);";
  s.automatic =
      "insert or replace into config( name, configgroup, component, identifier, version, "
      "CreationTime, Revision, success, UserValue, AutoConfValue, VitalValue, CachedValue) " +
      kContextValues + kCreationTimeKept + kRevisionAdvanced + Kept("success", "1") +
      Kept("UserValue") + "?, ?, ?);";
  s.updateUserDroppingDesired =
      "update Config set uservalue=?, vitalvalue=?, cachedvalue=?, DesiredValue=NULL" + kWhereRow;
  s.updateUser = "update Config set uservalue=?, vitalvalue=?, cachedvalue=?" + kWhereRow;
  s.updateAutomatic = "update Config set autoconfvalue=?, vitalvalue=?, cachedvalue=?" + kWhereRow;

  const std::string insertPrefix =
      "insert or replace into config(identifier, name, configgroup, component, version, "
      "CreationTime, Revision, ";
  s.userPrefix = insertPrefix + "AutoConfValue, VitalValue, CachedValue, UserValue) values ";
  s.userRow = InstanceRow(Kept("AutoConfValue") + Kept("VitalValue") + Kept("CachedValue"));
  s.userUpgradePrefix =
      insertPrefix + "success, AutoConfValue, VitalValue, CachedValue, UserValue) values ";
  s.userUpgradeRow = InstanceRow(Kept("success", "0") + Kept("AutoConfValue") + Kept("VitalValue") +
                                 Kept("CachedValue"));
  s.automaticPrefix = insertPrefix +
                      "success, DesiredValue, UserValue, VitalValue, CachedValue, AutoConfValue) "
                      "values ";
  s.automaticRow = InstanceRow(Kept("success", "1") + Kept("DesiredValue") + Kept("UserValue") +
                               Kept("VitalValue") + Kept("CachedValue"));
  s.vitalPrefix = insertPrefix +
                  "success, DesiredValue, AutoConfValue, UserValue, CachedValue, VitalValue) "
                  "values ";
  s.vitalRow = InstanceRow(Kept("success", "1") + Kept("DesiredValue") + Kept("AutoConfValue") +
                           Kept("UserValue") + Kept("CachedValue"));
  s.cachedPrefix = insertPrefix +
                   "success, DesiredValue, AutoConfValue, UserValue, VitalValue, CachedValue) "
                   "values ";
  s.cachedRow = InstanceRow(Kept("success", "1") + Kept("DesiredValue") + Kept("AutoConfValue") +
                            Kept("UserValue") + Kept("VitalValue"));
  s.completePrefix = insertPrefix + "autoconfvalue, uservalue, vitalvalue, cachedvalue) values ";
  s.completeRow =
      "('%s', '%s', '%s', '%s', '%s', " + kCreationTimeKept + kRevisionAdvanced + " ?, ?, ?, ?)";

  s.deleteOne =
      "DELETE FROM 'Config' WHERE Name = '%s' and Component='%s' and Identifier='%s' and "
      "ConfigGroup='%s';";
  s.deleteInstances =
      "DELETE FROM 'Config' WHERE Name = '%s' and Component='%s' and ConfigGroup='%s';";
  s.clearSource =
      "update config set %s=null where name='%s' and configgroup='%s' and component='%s';";
  s.kernelOptions =
      "insert or replace into config( name, configgroup, component, identifier, version, "
      "CreationTime, Revision, UserValue, DesiredValue, VitalValue) " +
      kContextValues + kCreationTimeKept + kRevisionAdvanced + Kept("UserValue") + "?, ?);";
  s.restore =
      "insert or replace into config( name, configgroup, component, identifier, version, "
      "CreationTime, Revision, success, AutoConfValue, UserValue, VitalValue, CachedValue, "
      "DesiredValue) " +
      kContextValues + kCreationTimeKept + kRevisionAdvanced + Kept("success", "1") +
      "?, ?, ?, ?, ?);";
  return s;
}

}  // namespace

const WriteStatements& Statements() {
  static const WriteStatements statements = Compose();
  return statements;
}

}  // namespace OrinConfigStore
