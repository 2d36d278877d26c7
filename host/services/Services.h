// The services by topic, and the methods of host objects.
#pragma once

#include <map>
#include <span>
#include <string_view>

#include "host/services/Service.h"

namespace host {

std::span<Service* const> runtimeServices();
std::span<Service* const> objectServices();
std::span<Service* const> propertyServices();
std::span<Service* const> stringServices();
std::span<Service* const> pictureServices();
std::span<Service* const> graphicsServices();
std::span<Service* const> dataServices();  ///< memory blocks, arrays, variants

/// The services that the resolver knows.
const std::map<std::string_view, Service*>& servicesByName();

/// Counts a look-up of the service in the current host; its address, or null when it is withheld.
void* offer(const Service& service);

/// A method that host-language objects have. Its service can be withheld and made to fail.
struct ObjectMethod {
  std::string_view declaration;  ///< matched character for character
  Service* service;
};
std::span<const ObjectMethod> pictureMethods();
std::span<const ObjectMethod> graphicsMethods();
std::span<const ObjectMethod> blockMethods();
std::span<const ObjectMethod> folderItemMethods();
std::span<const ObjectMethod> globalMethods();

/// The address of a method, unless it is withheld from the current host; null when there is none.
void* findMethod(std::span<const ObjectMethod> methods, std::string_view declaration);

/// Gives the plug-in a reference to an object; null for nil.
template <typename T>
typename T::Handle* handOut(T* object) {
  if (object == nullptr) return nullptr;
  object->lock();
  return static_cast<typename T::Handle*>(object->handle());
}

}  // namespace host
