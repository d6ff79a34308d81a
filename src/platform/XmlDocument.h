#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <kellanseek/com.h>

namespace kellanseek::platform {

/// A node of a loaded document, valid during the document's lifetime. Names are case-sensitive. Methods
/// return S_OK, S_FALSE for "not found" (outputs unchanged) or a failure code; "not found" is never a
/// failure.
class XmlNode {
 public:
  virtual ~XmlNode() = default;

  /// Finds the first child element with that name.
  virtual HRESULT SelectSingleNode(const std::wstring& name, std::unique_ptr<XmlNode>& child) = 0;
  /// Lists all child elements with that name, in document order. S_OK even if there are none.
  virtual HRESULT SelectNodes(const std::wstring& name, std::vector<std::unique_ptr<XmlNode>>& children) = 0;
  /// The text of the node and its descendants, without leading and trailing white space.
  virtual HRESULT Text(std::wstring& text) = 0;
  /// The names of all child elements in document order, repetitions included.
  virtual HRESULT ChildNames(std::vector<std::wstring>& names) = 0;
  /// The line on which the element begins, counted from 1; 0 if the XML library does not record it.
  virtual std::size_t Line() const = 0;
};

/// An XML document that is parsed as a whole before anything is read from it. Never reads anything outside
/// the file: no network, no external entities. Not thread-safe.
class XmlDocument {
 public:
  virtual ~XmlDocument() = default;

  /// Loads and parses the file. Fails if it is missing, unreadable, larger than kMaxFileBytes or not
  /// well-formed; `why` then holds the reason, with the line if known.
  virtual HRESULT Load(const std::wstring& path, std::wstring& why) = 0;

  /// The steps of reading the declared encoding, for its trace messages.
  enum class EncodingStep { FirstChild, Attributes, EncodingAttribute, Text };
  /// Reads the encoding from the XML declaration. Returns S_FALSE if a node on the way is missing (no
  /// declaration, or no encoding in it), or a failure code, with the failed step in `failedAt`.
  virtual HRESULT DeclaredEncoding(std::wstring& encoding, EncodingStep& failedAt) = 0;

  /// Returns the document element if it has that name.
  virtual HRESULT SelectRoot(const std::wstring& name, std::unique_ptr<XmlNode>& root) = 0;

  static constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;
};

/// Creates an empty document. On failure `document` is null.
HRESULT CreateXmlDocument(std::unique_ptr<XmlDocument>& document);

}  // namespace kellanseek::platform
