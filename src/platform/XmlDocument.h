#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// One node of a loaded document; valid while the document lives. Names are case-sensitive. The operations
/// give S_OK, S_FALSE for "not found" (outputs untouched), or a failure code; "not found" is never a failure.
class XmlNode {
 public:
  virtual ~XmlNode() = default;

  /// The first child element with that name.
  virtual HRESULT SelectSingleNode(const std::wstring& name, std::unique_ptr<XmlNode>& child) = 0;
  /// All child elements with that name, in document order (possibly none: still S_OK).
  virtual HRESULT SelectNodes(const std::wstring& name, std::vector<std::unique_ptr<XmlNode>>& children) = 0;
  /// The text of the node and everything below it, without white space at its ends.
  virtual HRESULT Text(std::wstring& text) = 0;
  /// The names of all child elements, in document order, each once per element.
  virtual HRESULT ChildNames(std::vector<std::wstring>& names) = 0;
  /// The line of the file on which the element begins, counted from 1; 0 when the system does not say.
  virtual std::size_t Line() const = 0;
};

/// An XML document that is read as a whole before anything is taken from it. Nothing outside the file is ever
/// read: no network, no external entities. For one thread.
class XmlDocument {
 public:
  virtual ~XmlDocument() = default;

  /// Loads and parses the file completely. A file that is missing, unreadable, larger than kMaxFileBytes or
  /// not well-formed is a failure. `why` gets the reason in words, with the line where there is one.
  virtual HRESULT Load(const std::wstring& path, std::wstring& why) = 0;

  /// The declaration's encoding, in the steps in which it can fail.
  enum class EncodingStep { FirstChild, Attributes, EncodingAttribute, Text };
  /// S_OK with the text; S_FALSE when a node on the way is missing (there is no declaration, or one without
  /// an encoding); a failure code when the system failed at `failedAt`.
  virtual HRESULT DeclaredEncoding(std::wstring& encoding, EncodingStep& failedAt) = 0;

  /// The document element when it has that name.
  virtual HRESULT SelectRoot(const std::wstring& name, std::unique_ptr<XmlNode>& root) = 0;

  static constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;
};

/// A new empty document, or a failure code with none.
HRESULT CreateXmlDocument(std::unique_ptr<XmlDocument>& document);

}  // namespace kellanseek::platform
