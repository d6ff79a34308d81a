#pragma once

#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "config/ConfigFile.h"
#include "tests/support/FakeDebugOutput.h"

namespace kellanseek::test {

/// The traced messages, joined by line ends.
inline std::wstring Said(const FakeDebugOutput& traces) {
  std::wstring said;
  for (const std::wstring& message : traces.Messages()) said += (said.empty() ? L"" : L"\n") + message;
  return said;
}

/// A single fault in an otherwise working XML library. E_OUTOFMEMORY is thrown as an exception.
struct XmlFault {
  enum class At { None, Create, Select, SelectAll, Item, Text, Root, Encoding };
  At at = At::None;
  std::wstring name = {};  ///< Name of the element that is selected or read.
  HRESULT result = E_FAIL;
  platform::XmlDocument::EncodingStep step = platform::XmlDocument::EncodingStep::FirstChild;

  bool Hits(At where, const std::wstring& what) const {
    if (at != where || name != what) return false;
    if (result == E_OUTOFMEMORY) throw std::bad_alloc();
    return true;
  }
};

/// What a parser usually traces of an element that it cannot select or read.
inline std::wstring Usual(const std::wstring& parser, const XmlFault& fault) {
  const wchar_t* const step = fault.at == XmlFault::At::Text ? L"get_text " : L"raw_selectSingleNode ";
  return parser + step + fault.name + L" failed";
}

/// Forwards to a real node, except for the fault.
class FaultyNode final : public platform::XmlNode {
 public:
  FaultyNode(std::unique_ptr<platform::XmlNode> node, std::wstring name, const XmlFault& fault)
      : node_(std::move(node)), name_(std::move(name)), fault_(fault) {}

  HRESULT SelectSingleNode(const std::wstring& name, std::unique_ptr<platform::XmlNode>& child) override {
    if (fault_.Hits(XmlFault::At::Select, name)) return fault_.result;
    std::unique_ptr<platform::XmlNode> found;
    const HRESULT result = node_->SelectSingleNode(name, found);
    if (result == S_OK) child = std::make_unique<FaultyNode>(std::move(found), name, fault_);
    return result;
  }
  HRESULT SelectNodes(const std::wstring& name,
                      std::vector<std::unique_ptr<platform::XmlNode>>& children) override {
    if (fault_.Hits(XmlFault::At::SelectAll, name)) return fault_.result;
    const HRESULT result = node_->SelectNodes(name, children);
    for (auto& child : children) child = std::make_unique<FaultyNode>(std::move(child), name, fault_);
    if (fault_.Hits(XmlFault::At::Item, name)) children.back().reset();
    return result;
  }
  HRESULT Text(std::wstring& text) override {
    return fault_.Hits(XmlFault::At::Text, name_) ? fault_.result : node_->Text(text);
  }
  HRESULT ChildNames(std::vector<std::wstring>& names) override { return node_->ChildNames(names); }
  std::size_t Line() const override { return node_->Line(); }

 private:
  std::unique_ptr<platform::XmlNode> node_;
  std::wstring name_;
  const XmlFault& fault_;
};

class FaultyDocument final : public platform::XmlDocument {
 public:
  FaultyDocument(std::unique_ptr<platform::XmlDocument> document, const XmlFault& fault)
      : document_(std::move(document)), fault_(fault) {}

  HRESULT Load(const std::wstring& path, std::wstring& why) override { return document_->Load(path, why); }
  HRESULT DeclaredEncoding(std::wstring& encoding, EncodingStep& failedAt) override {
    if (!fault_.Hits(XmlFault::At::Encoding, L"")) return document_->DeclaredEncoding(encoding, failedAt);
    failedAt = fault_.step;
    return fault_.result;
  }
  HRESULT SelectRoot(const std::wstring& name, std::unique_ptr<platform::XmlNode>& root) override {
    if (fault_.Hits(XmlFault::At::Root, name)) return fault_.result;
    std::unique_ptr<platform::XmlNode> found;
    const HRESULT result = document_->SelectRoot(name, found);
    if (result == S_OK) root = std::make_unique<FaultyNode>(std::move(found), name, fault_);
    return result;
  }

 private:
  std::unique_ptr<platform::XmlDocument> document_;
  const XmlFault& fault_;
};

/// Creates documents with a fault, which must outlive them.
inline config::XmlDocumentFactory FaultyDocuments(const XmlFault& fault) {
  return [&fault](std::unique_ptr<platform::XmlDocument>& document) {
    if (fault.Hits(XmlFault::At::Create, L"")) return fault.result;
    std::unique_ptr<platform::XmlDocument> real;
    const HRESULT result = platform::CreateXmlDocument(real);
    document = std::make_unique<FaultyDocument>(std::move(real), fault);
    return result;
  };
}

}  // namespace kellanseek::test
