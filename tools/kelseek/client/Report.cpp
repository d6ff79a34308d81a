#include "client/Report.h"

namespace kellanseek::kelseek {

using Json = nlohmann::json;

Json ReportOf(const client::Client& client) try {
  return Json::parse(client.report());
} catch (const client::Error& error) {
  if (error.code() != E_NOINTERFACE) throw;
  return nullptr;
}

const Json& MemberOf(const Json& object, const char* member) {
  static const Json nothing;
  if (!object.is_object()) return nothing;
  const auto found = object.find(member);
  return found == object.end() ? nothing : *found;
}

std::string TextOf(const Json& object, const char* member) {
  const Json& value = MemberOf(object, member);
  return value.is_string() ? value.get<std::string>() : std::string();
}

std::uint64_t NumberOf(const Json& object, const char* member) {
  const Json& value = MemberOf(object, member);
  return value.is_number_integer() ? value.get<std::uint64_t>() : 0;
}

bool FlagOf(const Json& object, const char* member, bool otherwise) {
  const Json& value = MemberOf(object, member);
  return value.is_boolean() ? value.get<bool>() : otherwise;
}

const Json& ListOf(const Json& object, const char* member) {
  static const Json empty = Json::array();
  const Json& value = MemberOf(object, member);
  return value.is_array() ? value : empty;
}

}  // namespace kellanseek::kelseek
