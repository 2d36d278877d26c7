// Loading a plug-in, and calling what it declares by name.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "frame/DeclarationGrammar.h"
#include "host/Host.h"
#include "host/plugin/Names.h"

namespace host {

/// A call that could not be made: no such method, arguments that do not fit. The text names what
/// was wrong and what is possible.
class CallError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The plug-in raised an exception during a call.
class ExceptionRaised : public std::runtime_error {
 public:
  explicit ExceptionRaised(RaisedException exception)
      : std::runtime_error(exception.className + ": " + exception.message),
        exception_(std::move(exception)) {}
  const RaisedException& exception() const { return exception_; }

 private:
  RaisedException exception_;
};

/// One declared method.
struct Method {
  enum class Kind : uint8_t { kPicture, kClass, kGlobal };

  Kind kind;
  std::string className;  ///< empty for global methods
  REALmethodDefinition* definition;
  grammar::Declaration declaration;

  std::string_view name() const { return declaration.name; }
  std::string_view text() const { return definition->declaration; }
  bool assignable() const { return definition->setter != nullptr; }
  /// The indices of the parameters that so many arguments are for, in order: of all, of all but
  /// some at the end that have defaults, or of all but the variables. Nothing when so many do not
  /// fit.
  std::optional<std::vector<int>> parametersFor(size_t arguments) const;
};

/// Methods of one name.
using Overloads = std::vector<const Method*>;

struct ByReferenceResult {
  std::string_view name;
  Value value;
};

struct CallResult {
  const Method* method = nullptr;
  Value value;  ///< nothing when the method returns nothing
  std::vector<ByReferenceResult> byReference;
};

/// Replaces '@' in a mangled name by the letter of HostLong ('l' on i386, else 'i') and '%' by that
/// of HostULong ('m' or 'j').
std::string mangledName(std::string_view name);

/// A plug-in in the current host. Loading always starts with fresh globals: when the library is in
/// the process already, a temporary copy is loaded.
class Plugin {
 public:
  using EntryPoint = void(HostResolver);

  /// Throws std::runtime_error when the file cannot be loaded or has no REALPluginMain.
  explicit Plugin(const std::string& path);
  /// One that is linked into this program. Its globals are as they were left.
  explicit Plugin(EntryPoint* main);
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;
  ~Plugin();

  Host& host() const { return host_; }

  /// Address of an exported symbol (see mangledName); null when it is not exported.
  void* symbol(std::string_view name) const;
  /// An exported routine: `plugin.routine<void(REALmethodDefinition*, HostLong)>("_Z15...")`.
  /// Throws CallError when it is not exported.
  template <typename Signature>
  Signature* routine(std::string_view name) const {
    return reinterpret_cast<Signature*>(requireSymbol(name));
  }

  /// Everything declared, in the order of registration.
  const std::vector<Method>& methods() const { return methods_; }
  /// Declarations that do not follow the grammar, and other faults of the registration.
  const std::vector<std::string>& faults() const { return faults_; }

  using Condition = std::function<bool(const Method&)>;
  /// The callable methods that `name` stands for (see standsFor). Throws CallError, with similar
  /// names of callable methods and of `others`, when there is none.
  Overloads overloads(std::string_view name, const Condition& callable, Names others = {}) const;
  /// The first that fits a call with so many arguments. Throws CallError with the declarations.
  static const Method& choose(const Overloads& overloads, std::string_view name, size_t arguments,
                              const Condition& fits);
  /// The method that a call on `self` means (nothing: global ones; a picture; an instance), by name
  /// and number of arguments. Throws CallError.
  const Method& choose(const Value& self, std::string_view name, size_t arguments) const;

  /// Calls a method. Missing arguments take the declared defaults; an argument that does not fit
  /// its parameter throws CallError. `byref` parameters start with the value given; where it is
  /// nothing or left out, with 0 or nil. An exception that the plug-in raises is thrown as
  /// ExceptionRaised, after its result was released.
  CallResult invoke(const Method& method, const Value& self, std::vector<Value> arguments) const;
  /// Assigns to an assignable method.
  void assign(const Method& method, const Value& self, std::vector<Value> arguments,
              const Value& value) const;

  /// Sugar: `plugin.call(picture, "ChangeContrastZVK", 0.5)`.
  template <typename Self, typename... A>
  Value call(const Ref<Self>& self, std::string_view name, const A&... arguments) const {
    return invokeByName(self, name, {Value(arguments)...}).value;
  }
  /// Sugar for global methods.
  template <typename... A>
  Value callGlobal(std::string_view name, const A&... arguments) const {
    return invokeByName({}, name, {Value(arguments)...}).value;
  }
  /// Sugar: `picture.name(arguments...) = value`, the value given first.
  template <typename Self, typename... A>
  void assignTo(const Ref<Self>& self, std::string_view name, const Value& value,
                const A&... arguments) const {
    assign(choose(self, name, sizeof...(A)), self, {Value(arguments)...}, value);
  }
  CallResult invokeByName(const Value& self, std::string_view name,
                          std::vector<Value> arguments) const {
    const Method& method = choose(self, name, arguments.size());
    return invoke(method, self, std::move(arguments));
  }

  /// A new instance of a class that the plug-in declares. Throws CallError for an unknown class.
  InstanceRef newInstance(std::string_view className) const;

 private:
  void* requireSymbol(std::string_view name) const;
  void start(EntryPoint* main);
  void collect(const REALclassDefinition& definition, Method::Kind kind);
  void add(Method::Kind kind, std::string_view className, REALmethodDefinition* definition);

  Host& host_;
  void* library_ = nullptr;
  Host::Registrations registered_;
  std::vector<Method> methods_;
  std::vector<std::string> faults_;
};

}  // namespace host
