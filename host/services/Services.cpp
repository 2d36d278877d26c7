#include "host/services/Services.h"

#include <array>
#include <vector>

namespace host {

namespace {

auto resolvableServices() {
  return std::array{runtimeServices(), objectServices(),   propertyServices(), stringServices(),
                    pictureServices(), graphicsServices(), dataServices()};
}

std::vector<Service*> collectServices() {
  std::vector<Service*> all;
  for (auto services : resolvableServices()) {
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
  for (auto services : resolvableServices()) {
    for (Service* service : services) index[service->name] = service;
  }
  return index;
}

}  // namespace

const std::map<std::string_view, Service*>& servicesByName() {
  static const std::map<std::string_view, Service*> index = indexResolvable();
  return index;
}

std::span<Service* const> allServices() {
  static const std::vector<Service*> all = collectServices();
  return all;
}

void* offer(const Service& service) {
  ServiceState& state = Host::current().state(service.index);
  const int resolution = ++state.resolutions;
  const bool withheld = state.withheldFrom != 0 && resolution >= state.withheldFrom;
  return withheld ? nullptr : service.entry;
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
