// Strings.
#include <cstdlib>
#include <cstring>

#include "host/services/Services.h"

namespace host {

namespace {

// The bytes end nowhere but at their count, so the log does not show them as text.
REALstringStruct* build(Host& host, const void* bytes, int count) {
  const std::string_view text(bytes ? static_cast<const char*>(bytes) : "",
                              bytes ? std::max(count, 0) : 0);
  return handOut(String::create(host, text, kEncodingUTF8, host.settings.placement));
}

void lockString(Host& host, REALstringStruct* handle) {
  if (String* string = host.use<String>(handle, "REALLockString")) string->lock();
}

void unlockString(Host& host, REALstringStruct* handle) {
  if (String* string = host.use<String>(handle, "REALUnlockString")) string->unlock();
}

void setEncoding(Host& host, REALstringStruct* handle, HostULong encoding) {
  String* string = host.use<String>(handle, "REALSetStringEncoding");
  if (string) string->setEncoding(encoding);
}

HostULong getEncoding(Host& host, REALstringStruct* handle) {
  const String* string = host.use<String>(handle, "REALGetStringEncoding");
  return string ? string->encoding() : 0;
}

HostLong compare(Host& host, REALstringStruct* a, REALstringStruct* b) {
  const String* first = host.use<String>(a, "RuntimeStringCompare");
  const String* second = host.use<String>(b, "RuntimeStringCompare");
  const int order = (first ? first->utf8() : "").compare(second ? second->utf8() : "");
  return order < 0 ? -1 : order > 0;
}

REALstringStruct* add(Host& host, REALstringStruct* a, REALstringStruct* b) {
  const String* first = host.use<String>(a, "RuntimeAddString");
  const String* second = host.use<String>(b, "RuntimeAddString");
  if (first && second && first->encoding() == second->encoding()) {
    return handOut(String::create(host, std::string(first->bytes()) + std::string(second->bytes()),
                                  first->encoding()));
  }
  const std::string text = (first ? first->utf8() : "") + (second ? second->utf8() : "");
  return handOut(String::create(host, text, kEncodingUTF8));
}

REALstringStruct* convert(Host& host, REALstringStruct* handle, HostULong encoding) {
  const String* string = host.use<String>(handle, "REALConvertString");
  if (string == nullptr) return nullptr;
  return handOut(String::create(host, convertText(string->bytes(), string->encoding(), encoding),
                                encoding, host.settings.placement));
}

HostULong fontEncoding(Host&, const char*) { return kEncodingUTF8; }

HostBoolean getData(Host& host, REALstringStruct* handle, HostULong encoding, REALstringData* out) {
  const String* string = host.use<String>(handle, "PluginGetStringData");
  if (string == nullptr || out == nullptr) return 0;
  const std::string text = convertText(string->bytes(), string->encoding(), encoding);
  auto* copy = static_cast<char*>(calloc(text.size() + 4, 1));
  memcpy(copy, text.data(), text.size());
  host.lendText(copy);
  *out = {copy, static_cast<int32_t>(text.size()), static_cast<uint32_t>(encoding)};
  return 1;
}

void disposeData(Host& host, REALstringData* data) {
  if (data == nullptr || data->data == nullptr) return;
  if (!host.returnText(data->data)) {
    host.report("PluginDisposeStringData: this text was not lent by the host",
                Problem::Kind::kText);
  }
}

const char* cString(Host& host, REALstringStruct* handle) {
  const String* string = host.use<String>(handle, "StringGetCString");
  return string ? string->bytes().data() : nullptr;
}

HostLong byteLength(Host& host, REALstringStruct* handle) {
  const String* string = host.use<String>(handle, "LenB");
  return string ? static_cast<HostLong>(string->bytes().size()) : 0;
}

}  // namespace

std::span<Service* const> stringServices() {
  static Service* const kServices[] = {
      service<"REALBuildString", build>(),
      service<"REALLockString", lockString, NeverFails{}>(),
      service<"REALUnlockString", unlockString, NeverFails{}>(),
      service<"REALSetStringEncoding", setEncoding>(),
      service<"REALGetStringEncoding", getEncoding>(),
      service<"RuntimeStringCompare", compare>(),
      service<"RuntimeAddString", add>(),
      service<"REALConvertString", convert>(),
      service<"REALGetFontEncoding", fontEncoding>(),
      service<"PluginGetStringData", getData>(),
      service<"PluginDisposeStringData", disposeData, NeverFails{}>(),
      service<"StringGetCString", cString>(),
  };
  return kServices;
}

std::span<const ObjectMethod> globalMethods() {
  static const ObjectMethod kMethods[] = {
      {"LenB( s as string ) as integer", service<"LenB", byteLength>()},
  };
  return kMethods;
}

}  // namespace host
