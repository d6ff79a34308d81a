#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kellanseek::test {

/// A history of the engine and of the model, which must never differ. Differences are failures of Google
/// Test.
class ModelHistory {
 public:
  /// Supplies the numbers on which all choices depend.
  using Choose = std::function<std::uint32_t()>;

  explicit ModelHistory(Choose choose);
  ~ModelHistory();

  /// Does one thing to both (a message, ticks, a call of a client, another interface) and compares them.
  void Act();
  /// What was done, for whoever has to find out why the two differ.
  const std::string& Story() const;

 private:
  class Sides;
  std::unique_ptr<Sides> sides_;
};

}  // namespace kellanseek::test
