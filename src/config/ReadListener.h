#pragma once

#include <string>

#include "config/Elements.h"
#include "platform/XmlDocument.h"

namespace kellanseek::config {

/// Hears what the parser of a configuration file reads, in reading order. By default does nothing. The nodes
/// are valid during the call. An exception ends the reading as a failure.
class ReadListener {
 public:
  virtual ~ReadListener() = default;

  /// The file cannot be loaded. The reason, for the user, is empty if there is no XML library.
  virtual void NotLoaded(const std::wstring& /*why*/) {}
  /// The file is rejected because of the encoding it declares; empty if it declares none.
  virtual void EncodingRejected(const std::wstring& /*declared*/) {}
  /// The document element is another one, so nothing is read.
  virtual void RootMissing(const Container& /*expected*/) {}

  /// The reading of the element's children begins.
  virtual void Opened(const Container& /*container*/, platform::XmlNode& /*node*/) {}
  /// The text has been read and stored in the element's field.
  virtual void Read(const Element& /*element*/, platform::XmlNode& /*node*/, const std::wstring& /*text*/) {}
  /// The container is passed over because it has no readable child `missing`.
  virtual void PassedOver(const Container& /*container*/, platform::XmlNode& /*node*/,
                          const Element& /*missing*/) {}
  /// The element's children have been read and stored. Not called for the document element.
  virtual void Closed(const Container& /*container*/, platform::XmlNode& /*node*/) {}

  /// A listener that ignores everything.
  static ReadListener& None() {
    static ReadListener none;
    return none;
  }
};

}  // namespace kellanseek::config
