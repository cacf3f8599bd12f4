// The ADOX-style catalogue (adox.h).
#include <filesystem>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/router.h"
#include "zmdb/dal/store_registry.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::adox {

using rt::NameEquals;
using rt::Variant;

namespace {

constexpr const char* kSource = "ADOX.Catalog";
constexpr std::string_view kAzl = "Jet OLEDB:Allow Zero Length";

// The ADO error for a missing collection item.
[[noreturn]] void Missing() {
  RaiseItemNotFound(kSource);
}

// 0x800A0CB3 for a change an appended object does not take.
[[noreturn]] void NotAllowed() {
  rt::Raise(rt::err::kAdoNotSupported, "Operation is not supported for this type of object.",
            kSource);
}

// A collection over a list the owner holds (pending columns, indexes, keys).
template <class T>
std::shared_ptr<Collection> ListCollection(
    const rt::ObjectRef& owner, const char* typeName, std::vector<std::shared_ptr<T>>& items,
    std::function<std::shared_ptr<T>(std::vector<Variant>&)> fromArgs) {
  auto* list = &items;
  Collection::Behaviour b;
  b.names = [owner, list] {
    std::vector<std::string> n;
    for (const auto& i : *list) n.push_back(i->name());
    return n;
  };
  b.make = [owner, list](const std::string& name) -> rt::ObjectRef {
    for (const auto& i : *list) {
      if (NameEquals(i->name(), name)) return i;
    }
    return nullptr;
  };
  b.append = [owner, list, fromArgs](const Variant& v) {
    std::vector<Variant> args{v};
    auto item = fromArgs(args);
    for (const auto& i : *list) {
      if (NameEquals(i->name(), item->name())) {
        rt::RaiseStandard(rt::err::kCatalogObjectExists, kSource);
      }
    }
    list->push_back(item);
  };
  b.remove = [owner, list](const std::string& name) {
    std::erase_if(*list, [&](const auto& i) { return NameEquals(i->name(), name); });
  };
  b.missing = Missing;
  return std::make_shared<Collection>(typeName, std::move(b));
}

// Columns.Append takes a Column or (name, type, defined size).
std::shared_ptr<Column> ColumnFromArgs(std::vector<Variant>& args) {
  if (args[0].IsObject()) return rt::ObjectAs<Column>(args[0]);
  auto c = std::make_shared<Column>();
  c->Define(rt::CStr(args[0]), rt::OptLongArg(args, 1, typecodes::ado::adVarWChar),
            rt::OptLongArg(args, 2, 0));
  return c;
}

// Collections whose Append takes (name, type, size) as well as an object:
// the extra arguments travel through Call.
class ArgsCollection : public Collection {
 public:
  ArgsCollection(std::string typeName, Behaviour b,
                 std::function<void(std::vector<Variant>&)> appendArgs)
      : Collection(std::move(typeName), std::move(b)), appendArgs_(std::move(appendArgs)) {}
  // Late-bound method call by name (any case); collections read as methods answer their item.
  Variant Call(std::string_view name, std::vector<Variant>& args) override {
    if (NameEquals(name, "Append") && appendArgs_) {
      appendArgs_(args);
      return {};
    }
    return Collection::Call(name, args);
  }

 private:
  std::function<void(std::vector<Variant>&)> appendArgs_;
};

// `base` with an Append that also takes (name, type, size) arguments.
std::shared_ptr<Collection> WithArgs(const std::shared_ptr<Collection>& base, const char* typeName,
                                     std::function<void(std::vector<Variant>&)> appendArgs) {
  Collection::Behaviour b;
  auto inner = base;
  b.names = [inner] { return inner->Names(); };
  b.make = [inner](const std::string& n) { return inner->Item(Variant(n)); };
  b.remove = [inner](const std::string& n) { inner->Delete(n); };
  b.missing = Missing;
  return std::make_shared<ArgsCollection>(typeName, std::move(b), std::move(appendArgs));
}

}  // namespace

std::int32_t AdoTypeOfDao(std::int32_t daoType) {
  const std::int32_t ado = typecodes::DaoToAdo(daoType);
  if (daoType == typecodes::dao::dbText) return typecodes::ado::adVarWChar;
  if (daoType == typecodes::dao::dbMemo) return typecodes::ado::adLongVarWChar;
  return ado == 0 ? typecodes::ado::adVarWChar : ado;
}

// The column a catalogue makes for an ADO type. A 32-bit integer column is a
// Long, as the provider makes it (the lossy type conversion would halve it).
std::int32_t DaoTypeOfAdoCode(std::int32_t adoType) {
  switch (adoType) {
    case typecodes::ado::adInteger:
      return typecodes::dao::dbLong;
    case typecodes::ado::adVarWChar:
    case typecodes::ado::adWChar:
    case typecodes::ado::adVarChar:
    case typecodes::ado::adChar:
      return typecodes::dao::dbText;
    case typecodes::ado::adLongVarWChar:
    case typecodes::ado::adLongVarChar:
      return typecodes::dao::dbMemo;
    default: {
      const std::int32_t dao = typecodes::AdoToDao(adoType);
      if (dao == 0) rt::RaiseStandard(rt::err::kInvalidFieldType);
      return dao;
    }
  }
}

// ---- Column ----

void Column::Define(const std::string& name, std::int32_t adoType, std::int32_t size) {
  def_.name = name;
  def_.type = DaoTypeOfAdoCode(adoType);
  def_.size = size;
}

// The definition as it is now: from the store when bound, else the pending one.
schema::FieldDef Column::Def() {
  if (!core_) return def_;
  const auto t = core_->store().Table(table_);
  if (!t) engerr::ObjectInvalid();
  for (const auto& f : t->fields) {
    if (NameEquals(f.name, def_.name)) return f;
  }
  Missing();
}

// After Append: the object reads and changes the store under its name from now on.
void Column::Bind(CoreRef core, std::string table) {
  core_ = std::move(core);
  table_ = std::move(table);
}

// Applies an edit to the pending definition, or to the store's field when bound.
void Column::Change(const std::function<void(schema::FieldDef&)>& edit) {
  if (!core_) return edit(def_);
  schema::FieldDef d = Def();
  edit(d);
  core_->store().ChangeField(table_, d);
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Column::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(def_.name);
  if (NameEquals(name, "Properties")) {
    return dao::CollectionOrItem(dao::MakeProperties(shared_from_this(), *this, true), index);
  }
  if (NameEquals(name, "ParentCatalog")) {
    auto c = catalog_.lock();
    return Variant(rt::ObjectRef(c));
  }
  if (NameEquals(name, "SortOrder")) return Variant(descending_ ? 2 : 1);
  if (NameEquals(name, "RelatedColumn")) return Variant(related_);
  const schema::FieldDef d = Def();
  if (NameEquals(name, "Type")) return Variant(AdoTypeOfDao(d.type));
  if (NameEquals(name, "DefinedSize")) return Variant(d.size);
  if (NameEquals(name, "Attributes")) {
    return Variant((d.required ? 0 : adColNullable) | (d.attributes & 1 ? adColFixed : 0));
  }
  if (NameEquals(name, "Precision")) return Variant(d.type == typecodes::dao::dbDecimal ? 18 : 0);
  if (NameEquals(name, "NumericScale")) return Variant(0);
  if (NameEquals(name, "Nullable")) return Variant(!d.required);
  if (NameEquals(name, kAzl)) return Variant(d.allowZeroLength);
  if (NameEquals(name, "Autoincrement"))
    return Variant((d.attributes & schema::kAutoIncrField) != 0);
  if (NameEquals(name, "Default")) return Variant(d.defaultValue);
  if (NameEquals(name, "Description")) {
    const schema::Prop* p = schema::FindProp(d.props, "Description");
    return p ? p->value : Variant(std::string());
  }
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Column::SetProperty(std::string_view name, const Variant& value,
                         const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) {
    const std::string to = rt::CStr(value);
    if (core_) core_->store().RenameField(table_, def_.name, to);
    def_.name = to;
    return;
  }
  if (NameEquals(name, "ParentCatalog")) {
    catalog_ = rt::ObjectAs<Catalog>(value);
    return;
  }
  if (NameEquals(name, "SortOrder")) {
    descending_ = rt::CLng(value) == 2;
    return;
  }
  if (NameEquals(name, "RelatedColumn")) {
    related_ = rt::CStr(value);
    return;
  }
  if (NameEquals(name, "Type") || NameEquals(name, "DefinedSize")) {
    if (core_) NotAllowed();
    if (NameEquals(name, "Type")) {
      def_.type = DaoTypeOfAdoCode(rt::CLng(value));
    } else {
      def_.size = rt::CLng(value);
    }
    return;
  }
  if (NameEquals(name, "Attributes")) {
    const bool nullable = (rt::CLng(value) & adColNullable) != 0;
    return Change([nullable](schema::FieldDef& d) { d.required = !nullable; });
  }
  if (NameEquals(name, "Nullable")) {
    const bool nullable = rt::CBool(value);
    return Change([nullable](schema::FieldDef& d) { d.required = !nullable; });
  }
  if (NameEquals(name, kAzl)) {
    const bool z = rt::CBool(value);
    return Change([z](schema::FieldDef& d) { d.allowZeroLength = z; });
  }
  if (NameEquals(name, "Autoincrement")) {
    if (core_) NotAllowed();
    if (rt::CBool(value)) {
      def_.attributes |= schema::kAutoIncrField;
      def_.type = typecodes::dao::dbLong;
    } else {
      def_.attributes &= ~schema::kAutoIncrField;
    }
    return;
  }
  if (NameEquals(name, "Default")) {
    const std::string v = rt::TextOf(value);
    return Change([v](schema::FieldDef& d) { d.defaultValue = v; });
  }
  if (NameEquals(name, "Description")) return PutCustomProperty({"Description", 10, value});
  Object::SetProperty(name, value, index);
}

// The built-in property names, listed first by the Properties collection.
std::vector<std::string> Column::BuiltinProperties() const {
  return {"Nullable", std::string(kAzl), "Autoincrement", "Default", "Description"};
}

// Only the description is a stored property; the rest are built in.
std::vector<schema::Prop> Column::CustomProperties() {
  return {};
}

// Adds or replaces one of the caller's own properties.
void Column::PutCustomProperty(const schema::Prop& prop) {
  if (!core_) return schema::PutProp(def_.props, prop);
  core_->store().PutProperty({schema::ObjectKind::Field, table_, def_.name}, prop);
}

// Removes one of the caller's own properties.
void Column::DeleteCustomProperty(std::string_view) {
  NotAllowed();
}

// ---- Index ----

schema::IndexDef Index::Def() {
  if (!core_) {
    schema::IndexDef d = def_;
    d.fields.clear();
    for (const auto& c : pendingColumns_) d.fields.push_back({c->name(), c->descending()});
    return d;
  }
  const auto t = core_->store().Table(table_);
  if (!t) engerr::ObjectInvalid();
  for (const auto& i : t->indexes) {
    if (NameEquals(i.name, def_.name)) return i;
  }
  Missing();
}

// After Append: the object reads and changes the store under its name from now on.
void Index::Bind(CoreRef core, std::string table) {
  core_ = std::move(core);
  table_ = std::move(table);
  pendingColumns_.clear();
}

// The Columns collection: live over the store when bound, the pending list otherwise.
std::shared_ptr<Collection> Index::Columns() {
  if (!core_) {
    auto base =
        ListCollection<Column>(shared_from_this(), "Columns", pendingColumns_, ColumnFromArgs);
    auto self = std::static_pointer_cast<Index>(shared_from_this());
    return WithArgs(base, "Columns", [self](std::vector<Variant>& args) {
      auto c = ColumnFromArgs(args);
      self->pendingColumns_.push_back(c);
    });
  }
  auto cols = std::make_shared<std::vector<std::shared_ptr<Column>>>();
  for (const auto& k : Def().fields) {
    auto c = std::make_shared<Column>(core_, table_, k.name);
    std::vector<Variant> none;
    c->SetProperty("SortOrder", Variant(k.descending ? 2 : 1), none);
    cols->push_back(c);
  }
  Collection::Behaviour b;
  b.names = [cols] {
    std::vector<std::string> n;
    for (const auto& c : *cols) n.push_back(c->name());
    return n;
  };
  b.make = [cols](const std::string& name) -> rt::ObjectRef {
    for (const auto& c : *cols) {
      if (NameEquals(c->name(), name)) return c;
    }
    return nullptr;
  };
  b.missing = Missing;
  return std::make_shared<Collection>("Columns", std::move(b));
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Index::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(def_.name);
  if (NameEquals(name, "Columns")) return dao::CollectionOrItem(Columns(), index);
  if (NameEquals(name, "Properties")) {
    return dao::CollectionOrItem(dao::MakeProperties(shared_from_this(), *this, true), index);
  }
  const schema::IndexDef d = Def();
  if (NameEquals(name, "PrimaryKey")) return Variant(d.primary);
  if (NameEquals(name, "Unique")) return Variant(d.unique || d.primary);
  if (NameEquals(name, "Clustered")) return Variant(d.clustered);
  if (NameEquals(name, "IndexNulls")) {
    return Variant(d.ignoreNulls ? adIndexNullsIgnore
                   : d.required  ? adIndexNullsDisallow
                                 : adIndexNullsAllow);
  }
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Index::SetProperty(std::string_view name, const Variant& value,
                        const std::vector<Variant>& index) {
  const bool known = NameEquals(name, "Name") || NameEquals(name, "PrimaryKey") ||
                     NameEquals(name, "Unique") || NameEquals(name, "Clustered") ||
                     NameEquals(name, "IndexNulls");
  if (!known) return Object::SetProperty(name, value, index);
  if (core_) NotAllowed();
  if (NameEquals(name, "Name")) def_.name = rt::CStr(value);
  if (NameEquals(name, "PrimaryKey")) def_.primary = rt::CBool(value);
  if (NameEquals(name, "Unique")) def_.unique = rt::CBool(value);
  if (NameEquals(name, "Clustered")) def_.clustered = rt::CBool(value);
  if (NameEquals(name, "IndexNulls")) {
    const std::int32_t n = rt::CLng(value);
    def_.required = n == adIndexNullsDisallow;
    def_.ignoreNulls = n == adIndexNullsIgnore || n == adIndexNullsIgnoreAny;
  }
}

// The built-in property names, listed first by the Properties collection.
std::vector<std::string> Index::BuiltinProperties() const {
  return {"PrimaryKey", "Unique", "Clustered", "IndexNulls"};
}

// Adds or replaces one of the caller's own properties.
void Index::PutCustomProperty(const schema::Prop&) {
  NotAllowed();
}

// Removes one of the caller's own properties.
void Index::DeleteCustomProperty(std::string_view) {
  NotAllowed();
}

// ---- Key ----

std::shared_ptr<Collection> Key::Columns() {
  auto base = ListCollection<Column>(shared_from_this(), "Columns", columns_, ColumnFromArgs);
  if (bound_) return base;
  auto self = std::static_pointer_cast<Key>(shared_from_this());
  return WithArgs(base, "Columns", [self](std::vector<Variant>& args) {
    self->columns_.push_back(ColumnFromArgs(args));
  });
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Key::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(name_);
  if (NameEquals(name, "Type")) return Variant(type_);
  if (NameEquals(name, "RelatedTable")) return Variant(relatedTable_);
  if (NameEquals(name, "UpdateRule")) return Variant(updateRule_);
  if (NameEquals(name, "DeleteRule")) return Variant(deleteRule_);
  if (NameEquals(name, "Columns")) return dao::CollectionOrItem(Columns(), index);
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Key::SetProperty(std::string_view name, const Variant& value,
                      const std::vector<Variant>& index) {
  if (bound_) NotAllowed();
  if (NameEquals(name, "Name")) {
    name_ = rt::CStr(value);
  } else if (NameEquals(name, "Type")) {
    type_ = rt::CLng(value);
  } else if (NameEquals(name, "RelatedTable")) {
    relatedTable_ = rt::CStr(value);
  } else if (NameEquals(name, "UpdateRule")) {
    updateRule_ = rt::CLng(value);
  } else if (NameEquals(name, "DeleteRule")) {
    deleteRule_ = rt::CLng(value);
  } else {
    Object::SetProperty(name, value, index);
  }
}

// ---- Table ----

schema::TableDef Table::Def() {
  if (core_) {
    auto t = core_->store().Table(def_.name);
    if (!t) engerr::ObjectInvalid();
    return std::move(*t);
  }
  schema::TableDef d = def_;
  d.kind = d.connect.empty() ? schema::TableKind::Table : schema::TableKind::Link;
  for (const auto& c : pendingColumns_) d.fields.push_back(c->Def());
  for (const auto& i : pendingIndexes_) d.indexes.push_back(i->Def());
  // Primary and unique keys are indexes of the store.
  for (const auto& k : pendingKeys_) {
    if (k->type_ == adKeyForeign) continue;
    schema::IndexDef i;
    i.name = k->name_;
    i.primary = k->type_ == adKeyPrimary;
    i.unique = true;
    for (const auto& c : k->columns_) i.fields.push_back({c->name(), false});
    d.indexes.push_back(std::move(i));
  }
  return d;
}

// After Append: the object reads and changes the store under its name from now on.
void Table::Bind(CoreRef core) {
  core_ = std::move(core);
  for (const auto& c : pendingColumns_) c->Bind(core_, def_.name);
  for (const auto& i : pendingIndexes_) i->Bind(core_, def_.name);
  for (const auto& k : pendingKeys_) {
    if (k->type_ == adKeyForeign) {
      schema::RelationDef r;
      r.name = k->name_;
      r.table = k->relatedTable_;
      r.foreignTable = def_.name;
      if (k->updateRule_ == adRICascade) r.attributes |= schema::kRelationUpdateCascade;
      if (k->deleteRule_ == adRICascade) r.attributes |= schema::kRelationDeleteCascade;
      for (const auto& c : k->columns_) r.fields.emplace_back(c->relatedColumn(), c->name());
      core_->store().CreateRelation(r);
    }
    k->bound_ = true;
  }
  pendingColumns_.clear();
  pendingIndexes_.clear();
  pendingKeys_.clear();
}

// The kind of table as the catalogue names it.
std::string Table::Type() {
  if (!core_) return "TABLE";
  for (const auto& t : core_->store().Tables()) {
    if (!NameEquals(t.name, def_.name)) continue;
    switch (t.kind) {
      case schema::TableKind::View:
        return "VIEW";
      case schema::TableKind::Link:
        return "LINK";
      case schema::TableKind::System:
        return "SYSTEM TABLE";
      case schema::TableKind::Table:
        return "TABLE";
    }
  }
  return "TABLE";
}

// The Columns collection: live over the store when bound, the pending list otherwise.
std::shared_ptr<Collection> Table::Columns() {
  auto self = std::static_pointer_cast<Table>(shared_from_this());
  if (!core_) {
    auto base = ListCollection<Column>(self, "Columns", pendingColumns_, ColumnFromArgs);
    return WithArgs(base, "Columns", [self](std::vector<Variant>& args) {
      auto c = ColumnFromArgs(args);
      for (const auto& e : self->pendingColumns_) {
        if (NameEquals(e->name(), c->name())) {
          rt::RaiseStandard(rt::err::kCatalogObjectExists, kSource);
        }
      }
      c->SetCatalog(self->catalog_);
      self->pendingColumns_.push_back(c);
    });
  }
  CoreRef core = core_;
  Collection::Behaviour b;
  b.names = [self] {
    std::vector<std::string> n;
    for (const auto& f : self->Def().fields) n.push_back(f.name);
    return n;
  };
  b.make = [self, core](const std::string& name) {
    auto c = std::make_shared<Column>(core, self->name(), name);
    c->SetCatalog(self->catalog_);
    return c;
  };
  b.remove = [self, core](const std::string& name) { core->store().DropField(self->name(), name); };
  b.missing = Missing;
  auto base = std::make_shared<Collection>("Columns", std::move(b));
  return WithArgs(base, "Columns", [self, core](std::vector<Variant>& args) {
    auto c = ColumnFromArgs(args);
    core->store().AddField(self->name(), c->Def());
    c->Bind(core, self->name());
  });
}

// The Indexes collection: live over the store when bound, the pending list otherwise.
std::shared_ptr<Collection> Table::Indexes() {
  auto self = std::static_pointer_cast<Table>(shared_from_this());
  if (!core_) {
    return ListCollection<Index>(self, "Indexes", pendingIndexes_,
                                 [](std::vector<Variant>& a) { return rt::ObjectAs<Index>(a[0]); });
  }
  CoreRef core = core_;
  Collection::Behaviour b;
  b.names = [self] {
    std::vector<std::string> n;
    for (const auto& i : self->Def().indexes) n.push_back(i.name);
    return n;
  };
  b.make = [self, core](const std::string& name) {
    return std::make_shared<Index>(core, self->name(), name);
  };
  b.append = [self, core](const Variant& v) {
    auto i = rt::ObjectAs<Index>(v);
    core->store().CreateIndex(self->name(), i->Def());
    i->Bind(core, self->name());
  };
  b.remove = [self, core](const std::string& name) { core->store().DropIndex(self->name(), name); };
  b.missing = Missing;
  return std::make_shared<Collection>("Indexes", std::move(b));
}

// Keys of an appended table: its primary and unique indexes and the
// relations in which it is the foreign table.
std::shared_ptr<Collection> Table::Keys() {
  auto self = std::static_pointer_cast<Table>(shared_from_this());
  if (!core_) {
    return ListCollection<Key>(self, "Keys", pendingKeys_,
                               [](std::vector<Variant>& a) { return rt::ObjectAs<Key>(a[0]); });
  }
  auto keys = std::make_shared<std::vector<std::shared_ptr<Key>>>();
  for (const auto& i : Def().indexes) {
    if (!i.primary && !i.unique) continue;
    auto k = std::make_shared<Key>();
    k->name_ = i.name;
    k->type_ = i.primary ? adKeyPrimary : adKeyUnique;
    for (const auto& f : i.fields)
      k->columns_.push_back(std::make_shared<Column>(core_, def_.name, f.name));
    k->bound_ = true;
    keys->push_back(k);
  }
  for (const auto& r : core_->store().Relations()) {
    if (!NameEquals(r.foreignTable, def_.name)) continue;
    auto k = std::make_shared<Key>();
    k->name_ = r.name;
    k->type_ = adKeyForeign;
    k->relatedTable_ = r.table;
    k->updateRule_ = r.attributes & schema::kRelationUpdateCascade ? adRICascade : adRINone;
    k->deleteRule_ = r.attributes & schema::kRelationDeleteCascade ? adRICascade : adRINone;
    for (const auto& [p, f] : r.fields) {
      auto c = std::make_shared<Column>(core_, def_.name, f);
      std::vector<Variant> none;
      c->SetProperty("RelatedColumn", Variant(p), none);
      k->columns_.push_back(c);
    }
    k->bound_ = true;
    keys->push_back(k);
  }
  Collection::Behaviour b;
  b.names = [keys] {
    std::vector<std::string> n;
    for (const auto& k : *keys) n.push_back(k->name());
    return n;
  };
  b.make = [keys](const std::string& name) -> rt::ObjectRef {
    for (const auto& k : *keys) {
      if (NameEquals(k->name(), name)) return k;
    }
    return nullptr;
  };
  b.missing = Missing;
  return std::make_shared<Collection>("Keys", std::move(b));
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Table::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(def_.name);
  if (NameEquals(name, "Type")) return Variant(Type());
  if (NameEquals(name, "Columns")) return dao::CollectionOrItem(Columns(), index);
  if (NameEquals(name, "Indexes")) return dao::CollectionOrItem(Indexes(), index);
  if (NameEquals(name, "Keys")) return dao::CollectionOrItem(Keys(), index);
  if (NameEquals(name, "Properties")) {
    return dao::CollectionOrItem(dao::MakeProperties(shared_from_this(), *this, true), index);
  }
  if (NameEquals(name, "ParentCatalog")) return Variant(rt::ObjectRef(catalog_.lock()));
  if (NameEquals(name, "DateCreated")) return core_ ? Def().dateCreated : Variant::Null();
  if (NameEquals(name, "DateModified")) return core_ ? Def().lastUpdated : Variant::Null();
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Table::SetProperty(std::string_view name, const Variant& value,
                        const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) {
    const std::string to = rt::CStr(value);
    if (core_) core_->store().RenameTable(def_.name, to);
    def_.name = to;
    return;
  }
  if (NameEquals(name, "ParentCatalog")) {
    catalog_ = rt::ObjectAs<Catalog>(value);
    for (const auto& c : pendingColumns_) c->SetCatalog(catalog_);
    return;
  }
  Object::SetProperty(name, value, index);
}

// The built-in property names, listed first by the Properties collection.
std::vector<std::string> Table::BuiltinProperties() const {
  return {};
}

// The description and the link settings, by their provider names.
std::vector<schema::Prop> Table::LinkProps() {
  const schema::TableDef d = core_ ? Def() : def_;
  std::vector<schema::Prop> out;
  out.push_back({"Jet OLEDB:Create Link", 1, Variant(!d.connect.empty())});
  out.push_back({"Jet OLEDB:Link Provider String", 10, Variant(d.connect)});
  out.push_back({"Jet OLEDB:Remote Table Name", 10, Variant(d.sourceTable)});
  return out;
}

// The caller's own properties: the store's once appended, else those held here.
std::vector<schema::Prop> Table::CustomProperties() {
  std::vector<schema::Prop> out{{"Description", 10, Variant(std::string())}};
  const auto stored =
      core_ ? core_->store().Properties({schema::ObjectKind::Table, def_.name, ""}) : def_.props;
  for (const auto& p : stored) schema::PutProp(out, p);
  for (auto& p : LinkProps()) schema::PutProp(out, std::move(p));
  return out;
}

// Adds or replaces one of the caller's own properties.
void Table::PutCustomProperty(const schema::Prop& prop) {
  if (NameEquals(prop.name, "Jet OLEDB:Link Provider String") ||
      NameEquals(prop.name, "Jet OLEDB:Remote Table Name")) {
    const bool connect = NameEquals(prop.name, "Jet OLEDB:Link Provider String");
    if (!core_) {
      (connect ? def_.connect : def_.sourceTable) = rt::TextOf(prop.value);
      return;
    }
    schema::TableDef d = Def();
    (connect ? d.connect : d.sourceTable) = rt::TextOf(prop.value);
    core_->store().ChangeLink(d.name, d.connect, d.sourceTable, d.attributes);
    return;
  }
  if (NameEquals(prop.name, "Jet OLEDB:Create Link")) return;
  if (!core_) return schema::PutProp(def_.props, prop);
  core_->store().PutProperty({schema::ObjectKind::Table, def_.name, ""}, prop);
}

// Removes one of the caller's own properties.
void Table::DeleteCustomProperty(std::string_view) {
  NotAllowed();
}

// ---- Catalog ----

CoreRef Catalog::core() {
  if (!connection_) {
    // The catalogue's number for it, with the recordset's words.
    rt::Raise(rt::err::kBadArguments, rt::ErrorText(rt::err::kConnectionUnusable), kSource);
  }
  return core_;
}

// Takes a Connection object, or opens a connection string itself.
void Catalog::SetActiveConnection(const Variant& connection) {
  std::shared_ptr<Connection> cn;
  if (connection.IsObject()) {
    cn = rt::ObjectAs<Connection>(connection);
  } else {
    cn = Connection::Create();
    cn->Open(rt::CStr(connection));
  }
  connection_ = cn;
  core_ = std::make_shared<dao::DbCore>(cn);
}

// The new file is an empty database; an existing one is refused (0x80040E17).
std::shared_ptr<Connection> Catalog::Create(const std::string& connectionString) {
  const Route route = RouteConnection(connectionString);
  if (route.kind != StoreKind::File) {
    engerr::NotYetSupported("Creating a server database through the catalogue");
  }
  std::error_code ec;
  if (std::filesystem::exists(route.dataSource, ec)) {
    rt::RaiseStandard(rt::err::kCatalogDatabaseExists, kSource);
  }
  StoreOptions options;
  options.create = true;
  OpenStore(route, options)->Close();
  auto cn = Connection::Create();
  cn->Open(connectionString);
  SetActiveConnection(Variant(rt::ObjectRef(cn)));
  return cn;
}

// The Tables collection of the active connection's database.
std::shared_ptr<Collection> Catalog::Tables() {
  CoreRef c = core();
  c->backend();
  auto self = std::static_pointer_cast<Catalog>(shared_from_this());
  std::weak_ptr<Catalog> weak = self;
  Collection::Behaviour b;
  b.names = [c] {
    std::vector<std::string> n;
    for (const auto& t : c->store().Tables()) n.push_back(t.name);
    return n;
  };
  b.make = [c, weak](const std::string& name) { return std::make_shared<Table>(c, name, weak); };
  b.missing = Missing;
  b.remove = [c](const std::string& name) {
    for (const auto& t : c->store().Tables()) {
      if (NameEquals(t.name, name) && t.kind == schema::TableKind::View) {
        return c->store().DropQuery(name);
      }
    }
    c->store().DropTable(name);
  };
  b.append = [c, weak](const Variant& v) {
    std::shared_ptr<Table> t;
    if (v.IsObject()) {
      t = rt::ObjectAs<Table>(v);
    } else {
      t = std::make_shared<Table>();
      t->def_.name = rt::CStr(v);
    }
    if (t->bound()) NotAllowed();
    c->store().CreateTable(t->Def());
    if (t->catalog_.expired()) t->catalog_ = weak;
    t->Bind(c);
  };
  return std::make_shared<Collection>("Tables", std::move(b));
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Catalog::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "ActiveConnection")) return Variant(rt::ObjectRef(connection_));
  if (NameEquals(name, "Tables")) return dao::CollectionOrItem(Tables(), index);
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Catalog::SetProperty(std::string_view name, const Variant& value,
                          const std::vector<Variant>& index) {
  if (NameEquals(name, "ActiveConnection")) return SetActiveConnection(value);
  Object::SetProperty(name, value, index);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant Catalog::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Create"))
    return Variant(rt::ObjectRef(Create(rt::CStr(rt::ArgAt(args, 0)))));
  if (NameEquals(name, "Tables")) return GetProperty(name, args);
  return Object::Call(name, args);
}

}  // namespace zmdb::dal::adox
