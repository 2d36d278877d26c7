#include "host/services/Services.h"

#include <vector>

namespace host {

namespace {

std::vector<Service*> collectServices() {
  std::vector<Service*> all;
  for (auto services : {runtimeServices(), objectServices(), propertyServices(), stringServices(),
                        pictureServices(), graphicsServices(), dataServices()}) {
    all.insert(all.end(), services.begin(), services.end());
  }
  for (auto methods : {pictureMethods(), graphicsMethods(), blockMethods(), folderItemMethods(),
                       globalMethods()}) {
    for (const ObjectMethod& method : methods) all.push_back(method.service);
  }
  for (size_t i = 0; i < all.size(); ++i) all[i]->index = static_cast<int>(i);
  return all;
}

std::map<std::string_view, Service*> indexResolvable() {
  std::map<std::string_view, Service*> index;
  for (auto services : {runtimeServices(), objectServices(), propertyServices(), stringServices(),
                        pictureServices(), graphicsServices(), dataServices()}) {
    for (Service* service : services) index[service->name] = service;
  }
  return index;
}

const std::map<std::string_view, Service*>& resolvableServices() {
  static const std::map<std::string_view, Service*> index = indexResolvable();
  return index;
}

// Counts the look-up; null when the service is withheld.
void* offer(const Service& service) {
  ServiceState& state = Host::current().state(service.index);
  const int resolution = ++state.resolutions;
  const bool withheld = state.withheldFrom != 0 && resolution >= state.withheldFrom;
  return withheld ? nullptr : service.entry;
}

}  // namespace

std::span<Service* const> allServices() {
  static const std::vector<Service*> all = collectServices();
  return all;
}

std::vector<std::string_view> Host::serviceNames() {
  std::vector<std::string_view> names;
  for (const auto& [name, service] : resolvableServices()) names.push_back(name);
  return names;
}

void* Host::resolve(const char* entryName) {
  const auto found = resolvableServices().find(entryName);
  if (found == resolvableServices().end()) {
    ++current().unknownResolutions[entryName];
    return nullptr;
  }
  return offer(*found->second);
}

void* findMethod(std::span<const ObjectMethod> methods, std::string_view declaration) {
  for (const ObjectMethod& method : methods) {
    if (method.declaration == declaration) return offer(*method.service);
  }
  return nullptr;
}

std::string describeHandle(const void* handle) {
  if (handle == nullptr) return "nil";
  const Object* object = Host::object(handle);
  return object ? object->name() : "address";
}

std::string describeText(const char* text) { return text ? '"' + std::string(text) + '"' : "nil"; }

}  // namespace host
