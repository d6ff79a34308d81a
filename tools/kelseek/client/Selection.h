#pragma once

#include <kellanseek/client.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace kellanseek::kelseek {

/// The status of a controller that is configured or added, and has never answered.
inline constexpr const char* kNeverHeard = "never-heard";

/// Options that say which controllers are wanted, and in which order. Texts are UTF-8, as typed.
struct SelectionOptions {
  std::vector<std::string> filters;  ///< "KEY=PATTERN"; all must hold.
  std::string heardOn;               ///< An interface by address, name or index; empty for all.
  std::string sort;                  ///< A column, with a leading "-" for the reverse; empty: as they came.
  std::vector<std::string> add;      ///< Addresses that are asked too.
};

/// Which controllers are wanted, and their order. Knows no component: what the selection needs of a report is
/// handed to it.
class Selection {
 public:
  /// Throws CommandError for an unknown key, value or column, and names the possible ones.
  explicit Selection(const SelectionOptions& options);

  /// Whether there is any condition.
  bool Narrows() const { return !conditions_.empty() || neverHeard_ || !heardOn_.empty(); }
  /// Whether it depends on the interface on which a controller was heard, and so on reports.
  bool NeedsReport() const { return !heardOn_.empty(); }

  /// Learns from a report which interfaces the host has and on which of them each controller was heard.
  /// Throws CommandError if the host has no interface that the selection names.
  void Learn(const nlohmann::json& report);
  /// Whether a report that it has learnt from had this controller.
  bool Knows(std::uint32_t id) const { return heard_.count(id) != 0; }

  /// `neverHeard`: it is configured or added, and has never answered.
  bool Matches(const client::Controller& controller, bool neverHeard = false) const;

  /// Controllers that are equal in the column are in the order of their addresses.
  void Sort(std::vector<client::Controller>& controllers) const;

 private:
  struct HeardOn {
    std::string which;                ///< As the user names the interface.
    std::set<std::string> addresses;  ///< Its local addresses.
  };
  using Compare = int (*)(const client::Controller&, const client::Controller&);

  void AddCondition(const std::string& text);
  void SetOrder(const std::string& column);

  std::vector<client::Filter> conditions_;
  std::optional<bool> neverHeard_;  ///< What --filter status says of it.
  std::vector<HeardOn> heardOn_;
  std::map<std::uint32_t, std::string> heard_;  ///< The local address of each controller's interface, by id.
  Compare compare_ = nullptr;
  bool reversed_ = false;
};

}  // namespace kellanseek::kelseek
