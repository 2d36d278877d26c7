// zvk list: everything that the plug-in declares.
#include <cstdio>

#include "Tool.h"
#include "host/plugin/Plugin.h"

namespace zvk {

namespace {

using host::Method;

void printRow(int32_t flags, const std::string& text) {
  printf("  0x%05x  %s\n", static_cast<unsigned>(flags), text.c_str());
}

void printMethods(const host::Plugin& plugin, Method::Kind kind, std::string_view className) {
  for (const Method& method : plugin.methods()) {
    if (method.kind != kind || method.className != className) continue;
    printRow(method.definition->flags,
             std::string(method.text()) + (method.assignable() ? "  (assignable)" : ""));
  }
}

size_t countMethods(const host::Plugin& plugin, Method::Kind kind) {
  size_t count = 0;
  for (const Method& method : plugin.methods()) count += method.kind == kind;
  return count;
}

void printClass(const host::Plugin& plugin, const REALclassDefinition& definition) {
  printf("Class %s, flags 0x%x, %d bytes of data\n", definition.name,
         static_cast<unsigned>(definition.flags), definition.dataSize);
  printf(" Properties (%d)\n", definition.propertyCount);
  for (int i = 0; i < definition.propertyCount; ++i) {
    const REALpropertyDefinition& property = definition.properties[i];
    printRow(property.flags, std::string(property.name) + " as " + property.type);
  }
  printf(" Methods (%d)\n", definition.methodCount);
  printMethods(plugin, Method::Kind::kClass, definition.name);
  printf("\n");
}

}  // namespace

int list(const CommonOptions& common) {
  host::Host host(hostSettings(common));
  host::Plugin plugin(common.plugin);
  for (const REALclassDefinition* definition : host.registrations.classes) {
    printClass(plugin, *definition);
  }
  printf("Methods of Picture (%zu)\n", countMethods(plugin, Method::Kind::kPicture));
  printMethods(plugin, Method::Kind::kPicture, "Picture");
  printf("\nGlobal functions (%zu)\n", countMethods(plugin, Method::Kind::kGlobal));
  printMethods(plugin, Method::Kind::kGlobal, "");
  for (const std::string& fault : plugin.faults()) fprintf(stderr, "zvk: %s\n", fault.c_str());
  const bool balanced = reportAccounts(host);
  return balanced && plugin.faults().empty() ? kDone : kCallFailed;
}

}  // namespace zvk
