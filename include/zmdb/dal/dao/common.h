// What the DAO-style and ADOX-style schema objects share: the open store they
// reach through a schema store, collections by name or position, and
// property collections (built-in properties plus those a caller created).
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/schema_store.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal {
class Connection;
}

namespace zmdb::dal::dao {

// The open store behind a database or a catalogue: a backend the database
// owns, or the backend of an ADO connection. Every schema object keeps one,
// so objects stay usable while any of them lives; after Close they raise
// error 3420.
class DbCore {
 public:
  explicit DbCore(std::unique_ptr<Backend> owned) : owned_(std::move(owned)) {}
  explicit DbCore(std::shared_ptr<Connection> connection) : connection_(std::move(connection)) {}
  DbCore(const DbCore&) = delete;
  DbCore& operator=(const DbCore&) = delete;
  ~DbCore();

  Backend& backend();
  schema::SchemaStore& store() { return backend().Schema(); }
  bool open() const;
  void Close();
  const std::shared_ptr<Connection>& connection() const { return connection_; }

 private:
  std::unique_ptr<Backend> owned_;
  std::shared_ptr<Connection> connection_;
};
using CoreRef = std::shared_ptr<DbCore>;

// A collection whose members come from functions: names in order, the object
// for a name, and (where the collection allows them) Append and Delete.
// Items are found by name without regard to case or by position from 0; a
// missing one raises `missing`.
class Collection : public rt::Object {
 public:
  struct Behaviour {
    std::function<std::vector<std::string>()> names;
    std::function<rt::ObjectRef(const std::string&)> make;
    std::function<void(const rt::Variant&)> append;  // empty: Append is refused
    std::function<void(const std::string&)> remove;  // empty: Delete is refused
    std::function<void()> missing;                   // raises for a missing item
  };
  Collection(std::string typeName, Behaviour behaviour)
      : typeName_(std::move(typeName)), b_(std::move(behaviour)) {}

  std::string TypeName() const override { return typeName_; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  std::int32_t Count();
  rt::ObjectRef Item(const rt::Variant& key);
  void Append(const rt::Variant& object);
  void Delete(const std::string& name);
  std::vector<std::string> Names() { return b_.names(); }

 private:
  std::string typeName_;
  Behaviour b_;
};

// The names of `items` (descriptions with a `name`), in order.
template <class Items>
std::vector<std::string> NamesOf(const Items& items) {
  std::vector<std::string> names;
  for (const auto& item : items) names.push_back(item.name);
  return names;
}

// A collection over what the store holds (TableDefs, QueryDefs, Relations, a
// table's Fields and Indexes): `names` lists the members in order, `make`
// builds the object for a name, Append hands the appended object, as a T, to
// `append` (which refuses one stored already, then stores and binds it),
// Delete is `remove`, and a missing item raises 3265 from `source`.
template <class T>
std::shared_ptr<Collection> StoreCollection(std::string typeName, const char* source,
                                            std::function<std::vector<std::string>()> names,
                                            std::function<rt::ObjectRef(const std::string&)> make,
                                            std::function<void(T&)> append,
                                            std::function<void(const std::string&)> remove) {
  Collection::Behaviour b;
  b.names = std::move(names);
  b.make = std::move(make);
  b.append = [append = std::move(append)](const rt::Variant& v) { append(*rt::ObjectAs<T>(v)); };
  b.remove = std::move(remove);
  b.missing = [source] { engerr::ItemNotFound(source); };
  return std::make_shared<Collection>(std::move(typeName), std::move(b));
}

// The collection itself, or its item when the member was read with an index
// (TableDefs("Staff")).
rt::Variant CollectionOrItem(const std::shared_ptr<Collection>& c,
                             const std::vector<rt::Variant>& index);

// The custom properties of an object, kept by the store or, before the
// object is appended, by the object itself.
class PropertyOwner {
 public:
  virtual ~PropertyOwner() = default;
  // Built-in property names, read and written through the owner's members.
  virtual std::vector<std::string> BuiltinProperties() const = 0;
  virtual std::vector<schema::Prop> CustomProperties() = 0;
  virtual void PutCustomProperty(const schema::Prop& prop) = 0;
  virtual void DeleteCustomProperty(std::string_view name) = 0;
};

// One property: Name, Value (the default member), Type, Inherited.
class Property : public rt::Object {
 public:
  using Getter = std::function<rt::Variant()>;
  using Setter = std::function<void(const rt::Variant&)>;
  // A property not appended anywhere (CreateProperty).
  Property(std::string name, std::int32_t type, rt::Variant value)
      : name_(std::move(name)), type_(type), value_(std::move(value)) {}
  // A property whose value lives with its owner.
  Property(std::string name, std::int32_t type, Getter get, Setter set)
      : name_(std::move(name)), type_(type), get_(std::move(get)), set_(std::move(set)) {}

  std::string TypeName() const override { return "Property"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant DefaultValue() override { return Value(); }

  const std::string& name() const { return name_; }
  std::int32_t type() const { return type_; }
  rt::Variant Value() const { return get_ ? get_() : value_; }
  void SetValue(const rt::Variant& v);
  void Bind(Getter get, Setter set);

 private:
  std::string name_;
  std::int32_t type_ = 10;
  rt::Variant value_;
  Getter get_;
  Setter set_;
};

// The Properties collection of `owner` (which must also be `object`).
// `adoStyle` words missing items as ADO does and lets any stored property be
// set by name (Properties("Description") = ...).
std::shared_ptr<Collection> MakeProperties(const rt::ObjectRef& object, PropertyOwner& owner,
                                           bool adoStyle = false);

// The DAO type code of a Variant's value, for properties created without one.
std::int32_t DaoTypeOfValue(const rt::Variant& v);

// Argument helpers for late-bound calls.
std::string TextArg(const std::vector<rt::Variant>& args, std::size_t i,
                    const std::string& fallback = {});
bool BoolArg(const std::vector<rt::Variant>& args, std::size_t i, bool fallback);

}  // namespace zmdb::dal::dao
