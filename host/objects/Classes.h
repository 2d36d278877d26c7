// Objects with properties, and the classes that the host knows or that plug-ins register.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/objects/Object.h"
#include "host/objects/Value.h"

namespace host {

/// Property and class names are matched without regard to case.
struct NameLess {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const;
};

/// An object of some host class with a fixed set of properties. Also serves for exceptions,
/// windows, controls, folder items, variants ("Value") and whatever a test needs.
class PropertyObject : public Object {
 public:
  using Properties = std::map<std::string, Value, NameLess>;

  static PropertyObject* create(Host& host, std::string_view kind, std::string className,
                                Properties properties = {});

  std::string_view className() const override { return className_; }
  Value property(std::string_view name) const override;
  /// Only existing properties can be written, and only with a value of their type: numbers convert
  /// into each other, everything else must be the same type or nil.
  bool setProperty(std::string_view name, const Value& value) override;
  void* method(std::string_view declaration) override;
  std::string details() const override { return className_; }

 protected:
  PropertyObject(Host& host, std::string_view kind, std::string className, Properties properties);
  void dispose() override { properties_.clear(); }

 private:
  std::string className_;
  Properties properties_;
};

/// A class: one of the host's own, or one that a plug-in registered.
struct ClassInfo {
  std::string name;
  std::string superName;
  REALclassDefinition* definition = nullptr;  ///< null for the host's own and after unloading
};

/// Handle of a class, alive as long as the host; reference counts do not apply to it.
class ClassReference final : public Object {
 public:
  using Handle = REALclassRefStruct;
  ClassReference(Host& host, const ClassInfo& info);
  const ClassInfo& info() const { return info_; }
  std::string_view className() const override { return info_.name; }
  std::string details() const override { return info_.name; }

 private:
  const ClassInfo& info_;
};

/// Instance of a plug-in class: room for the plug-in's data at the class's data offset, zeroed, and
/// then its constructor's; the destructor runs when the last reference goes.
class Instance final : public Object {
 public:
  /// Runs the constructor. The new instance has no reference yet.
  static Instance* create(Host& host, const ClassInfo& info);

  uint8_t* data() const;
  const ClassInfo& info() const { return info_; }
  /// A declared property; null when the class has none of this name.
  const REALpropertyDefinition* declaredProperty(std::string_view name) const;
  std::string_view className() const override { return info_.name; }
  std::string details() const override { return info_.name; }
  /// Reads or writes through the declared accessors, or in the instance data where the declaration
  /// leaves that to the host. Writing a picture field releases the old picture.
  Value property(std::string_view name) const override;
  bool setProperty(std::string_view name, const Value& value) override;
  void collectFields(std::vector<Object*>& objects) const override;

 private:
  Instance(Host& host, const ClassInfo& info);
  void dispose() override;

  const ClassInfo& info_;
};

using InstanceRef = Ref<Instance>;

}  // namespace host
