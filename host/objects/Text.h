// Strings of the host language and their encodings.
#pragma once

#include <string>
#include <string_view>

#include "host/objects/Memory.h"
#include "host/objects/Object.h"

namespace host {

class String final : public Object {
 public:
  using Handle = REALstringStruct;

  /// A new string without any reference yet, holding a copy of the bytes.
  static String* create(Host& host, std::string_view bytes, HostULong encoding,
                        Placement placement = Placement::kHeap);

  std::string_view bytes() const;
  /// Whether what surrounds the bytes is as it was made.
  bool surroundingsIntact() const { return storage_.slackIntact(); }
  HostULong encoding() const { return record()->encoding; }
  void setEncoding(HostULong encoding) { record()->encoding = encoding; }
  /// The text in UTF-8; raw bytes (encoding 0xFFFF) are taken as they are.
  std::string utf8() const;

  std::string details() const override;
  std::string_view className() const override { return "String"; }

 private:
  String(Host& host, std::string_view bytes, HostULong encoding, Placement placement);
  REALstringStruct* record() const { return static_cast<REALstringStruct*>(handle()); }
  void publishReferences(int) override {}
  void dispose() override { storage_ = Memory(); }

  Memory storage_;
};

using StringRef = Ref<String>;

/// Converts text between encodings. Characters that the target does not have become "?"; bytes that
/// are no text in the source encoding become U+FFFD. To and from 0xFFFF the bytes stay as they are.
std::string convertText(std::string_view bytes, HostULong from, HostULong to);

}  // namespace host
