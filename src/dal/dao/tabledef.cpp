// TableDef, Field and Index of the DAO-style model (dao.h).
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::dao {

using rt::NameEquals;
using rt::Variant;

namespace {

constexpr const char* kFieldsSource = "DAO.Fields";
constexpr const char* kIndexesSource = "DAO.Indexes";

// The field named `name` in `fields`, or error 3265.
const schema::FieldDef& FindField(const std::vector<schema::FieldDef>& fields,
                                  std::string_view name) {
  for (const auto& f : fields) {
    if (NameEquals(f.name, name)) return f;
  }
  engerr::ItemNotFound(kFieldsSource);
}

// A collection over objects the owner holds itself (a pending definition's
// fields or indexes): Append adds one unless its name is taken (`duplicate`
// raises then), Delete removes one.
template <class T>
std::shared_ptr<Collection> PendingCollection(const rt::ObjectRef& owner, const char* typeName,
                                              std::vector<std::shared_ptr<T>>& items,
                                              std::function<void()> duplicate, const char* source) {
  auto* list = &items;
  Collection::Behaviour b;
  b.names = [owner, list] {
    std::vector<std::string> names;
    for (const auto& i : *list) names.push_back(i->name());
    return names;
  };
  b.make = [owner, list](const std::string& name) -> rt::ObjectRef {
    for (const auto& i : *list) {
      if (NameEquals(i->name(), name)) return i;
    }
    return nullptr;
  };
  b.append = [owner, list, duplicate](const Variant& v) {
    auto item = rt::ObjectAs<T>(v);
    if (item->name().empty()) {
      rt::RaiseStandard(rt::err::kInvalidName);
    }
    for (const auto& i : *list) {
      if (NameEquals(i->name(), item->name())) duplicate();
    }
    list->push_back(item);
  };
  b.remove = [owner, list, source](const std::string& name) {
    for (auto it = list->begin(); it != list->end(); ++it) {
      if (NameEquals((*it)->name(), name)) {
        list->erase(it);
        return;
      }
    }
    engerr::ItemNotFound(source);
  };
  b.missing = [source] { engerr::ItemNotFound(source); };
  return std::make_shared<Collection>(typeName, std::move(b));
}

// 3191 for a field name used twice.
[[noreturn]] void FieldExists() {
  rt::RaiseStandard(rt::err::kFieldExists);
}

// 3284 for an index name used twice.
[[noreturn]] void IndexExists() {
  rt::RaiseStandard(rt::err::kIndexExists);
}

// A field as the key of an index or a relation: a name with attributes.
std::shared_ptr<Field> KeyField(const std::string& name, std::int32_t attributes) {
  schema::FieldDef d;
  d.name = name;
  d.attributes = attributes;
  return std::make_shared<Field>(std::move(d));
}

}  // namespace

// ---- Field ----

schema::FieldDef Field::Def() {
  if (!core_) return def_;
  const auto table = core_->store().Table(table_);
  if (!table) engerr::ObjectInvalid();
  return FindField(table->fields, def_.name);
}

// After Append: the object reads and changes the store under its name from now on.
void Field::Bind(CoreRef core, std::string table) {
  core_ = std::move(core);
  table_ = std::move(table);
}

// A pending field edits its definition; a bound one changes the store.
void Field::Change(const std::function<void(schema::FieldDef&)>& edit) {
  if (readOnly_) engerr::InvalidOperation();
  if (!core_) return edit(def_);
  schema::FieldDef d = Def();
  edit(d);
  core_->store().ChangeField(table_, d);
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Field::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(def_.name);
  if (NameEquals(name, "ForeignName")) return Variant(foreignName_);
  if (NameEquals(name, "Properties")) {
    return CollectionOrItem(MakeProperties(shared_from_this(), *this), index);
  }
  if (NameEquals(name, "SourceTable")) return Variant(table_);
  if (NameEquals(name, "SourceField")) return Variant(def_.name);
  if (NameEquals(name, "ValidationRule") || NameEquals(name, "ValidationText")) {
    return Variant(std::string());
  }
  if (NameEquals(name, "Value") || name.empty()) engerr::InvalidOperation();
  const schema::FieldDef d = Def();
  if (NameEquals(name, "Type")) return Variant(static_cast<std::int16_t>(d.type));
  if (NameEquals(name, "Size")) return Variant(d.size);
  if (NameEquals(name, "Attributes")) return Variant(d.attributes);
  if (NameEquals(name, "OrdinalPosition")) {
    return Variant(static_cast<std::int16_t>(d.ordinal < 0 ? 0 : d.ordinal));
  }
  if (NameEquals(name, "Required")) return Variant(d.required);
  if (NameEquals(name, "AllowZeroLength")) return Variant(d.allowZeroLength);
  if (NameEquals(name, "DefaultValue")) return Variant(d.defaultValue);
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Field::SetProperty(std::string_view name, const Variant& value,
                        const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) {
    const std::string to = rt::CStr(value);
    if (readOnly_) engerr::InvalidOperation();
    if (core_) core_->store().RenameField(table_, def_.name, to);
    def_.name = to;
    return;
  }
  if (NameEquals(name, "ForeignName")) {
    if (core_ || readOnly_) engerr::InvalidOperation();
    foreignName_ = rt::CStr(value);
    return;
  }
  if (NameEquals(name, "Type") || NameEquals(name, "Size")) {
    // Type and size are fixed once the field is appended.
    if (core_ || readOnly_) engerr::InvalidOperation();
    (NameEquals(name, "Type") ? def_.type : def_.size) = rt::CLng(value);
    return;
  }
  if (NameEquals(name, "Attributes")) {
    const std::int32_t a = rt::CLng(value);
    if (core_ && ((a ^ Def().attributes) & schema::kAutoIncrField)) engerr::InvalidOperation();
    return Change([a](schema::FieldDef& d) { d.attributes = a; });
  }
  if (NameEquals(name, "OrdinalPosition")) {
    const std::int32_t p = rt::CLng(value);
    return Change([p](schema::FieldDef& d) { d.ordinal = p; });
  }
  if (NameEquals(name, "Required")) {
    const bool r = rt::CBool(value);
    return Change([r](schema::FieldDef& d) { d.required = r; });
  }
  if (NameEquals(name, "AllowZeroLength")) {
    const bool z = rt::CBool(value);
    return Change([z](schema::FieldDef& d) { d.allowZeroLength = z; });
  }
  if (NameEquals(name, "DefaultValue")) {
    const std::string v = rt::TextOf(value);
    return Change([v](schema::FieldDef& d) { d.defaultValue = v; });
  }
  Object::SetProperty(name, value, index);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant Field::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "CreateProperty")) {
    const Variant& v = rt::ArgAt(args, 2);
    const std::int32_t type = rt::OptLongArg(args, 1, DaoTypeOfValue(v));
    return Variant(rt::ObjectRef(
        std::make_shared<Property>(TextArg(args, 0), type, v.IsMissing() ? Variant() : v)));
  }
  if (NameEquals(name, "Properties")) return GetProperty(name, args);
  return Object::Call(name, args);
}

// The built-in property names, listed first by the Properties collection.
std::vector<std::string> Field::BuiltinProperties() const {
  return {"Name",
          "Type",
          "Size",
          "Attributes",
          "OrdinalPosition",
          "Required",
          "AllowZeroLength",
          "DefaultValue",
          "ValidationRule",
          "ValidationText",
          "ForeignName",
          "SourceField",
          "SourceTable"};
}

// The caller's own properties: the store's once appended, else those held here.
std::vector<schema::Prop> Field::CustomProperties() {
  if (!core_) return def_.props;
  return core_->store().Properties({schema::ObjectKind::Field, table_, def_.name});
}

// Adds or replaces one of the caller's own properties.
void Field::PutCustomProperty(const schema::Prop& prop) {
  if (!core_) return schema::PutProp(def_.props, prop);
  core_->store().PutProperty({schema::ObjectKind::Field, table_, def_.name}, prop);
}

// Removes one of the caller's own properties.
void Field::DeleteCustomProperty(std::string_view name) {
  if (!core_) {
    std::erase_if(def_.props, [&](const schema::Prop& p) { return NameEquals(p.name, name); });
    return;
  }
  core_->store().DeleteProperty({schema::ObjectKind::Field, table_, def_.name}, name);
}

// ---- Index ----

schema::IndexDef Index::Def() {
  if (!core_) {
    schema::IndexDef d = def_;
    d.fields.clear();
    for (const auto& f : pendingFields_) d.fields.push_back({f->name(), f->descending()});
    return d;
  }
  const auto table = core_->store().Table(table_);
  if (!table) engerr::ObjectInvalid();
  for (const auto& i : table->indexes) {
    if (NameEquals(i.name, def_.name)) return i;
  }
  engerr::ItemNotFound(kIndexesSource);
}

// After Append: the object reads and changes the store under its name from now on.
void Index::Bind(CoreRef core, std::string table) {
  core_ = std::move(core);
  table_ = std::move(table);
  pendingFields_.clear();
}

// The Fields collection: live over the store when bound, the pending list otherwise.
std::shared_ptr<Collection> Index::Fields() {
  if (!core_) {
    return PendingCollection(shared_from_this(), "Fields", pendingFields_, FieldExists,
                             kFieldsSource);
  }
  // An appended index's key cannot change: its fields are a read-only list.
  std::vector<std::shared_ptr<Field>> keys;
  for (const auto& k : Def().fields) {
    keys.push_back(KeyField(k.name, k.descending ? 1 : 0));
    keys.back()->readOnly_ = true;
  }
  auto shared = std::make_shared<std::vector<std::shared_ptr<Field>>>(std::move(keys));
  Collection::Behaviour b;
  b.names = [shared] {
    std::vector<std::string> n;
    for (const auto& f : *shared) n.push_back(f->name());
    return n;
  };
  b.make = [shared](const std::string& name) -> rt::ObjectRef {
    for (const auto& f : *shared) {
      if (NameEquals(f->name(), name)) return f;
    }
    return nullptr;
  };
  b.missing = [] { engerr::ItemNotFound(kFieldsSource); };
  return std::make_shared<Collection>("Fields", std::move(b));
}

// A new pending field, appended later through a Fields collection.
std::shared_ptr<Field> Index::CreateField(const std::string& name, std::int32_t type,
                                          std::int32_t size) {
  auto f = KeyField(name, 0);
  f->def_.type = type;
  f->def_.size = size;
  return f;
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant Index::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(def_.name);
  if (NameEquals(name, "Fields")) {
    if (!index.empty()) return CollectionOrItem(Fields(), index);
    // Read as text, the key list is "+A;-B", the engine's own form.
    return Variant(rt::ObjectRef(Fields()));
  }
  if (NameEquals(name, "Properties")) {
    return CollectionOrItem(MakeProperties(shared_from_this(), *this), index);
  }
  const schema::IndexDef d = Def();
  if (NameEquals(name, "Unique")) return Variant(d.unique || d.primary);
  if (NameEquals(name, "Primary")) return Variant(d.primary);
  if (NameEquals(name, "Required")) return Variant(d.required);
  if (NameEquals(name, "Clustered")) return Variant(d.clustered);
  if (NameEquals(name, "IgnoreNulls")) return Variant(d.ignoreNulls);
  if (NameEquals(name, "Foreign")) return Variant(d.foreign);
  if (NameEquals(name, "DistinctCount")) return Variant(0);
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void Index::SetProperty(std::string_view name, const Variant& value,
                        const std::vector<Variant>& index) {
  const auto flag = [&](bool& target) {
    if (core_) engerr::InvalidOperation();  // an appended index cannot change
    target = rt::CBool(value);
  };
  if (NameEquals(name, "Name")) {
    if (core_) engerr::InvalidOperation();
    def_.name = rt::CStr(value);
  } else if (NameEquals(name, "Unique")) {
    flag(def_.unique);
  } else if (NameEquals(name, "Primary")) {
    flag(def_.primary);
  } else if (NameEquals(name, "Required")) {
    flag(def_.required);
  } else if (NameEquals(name, "Clustered")) {
    flag(def_.clustered);
  } else if (NameEquals(name, "IgnoreNulls")) {
    flag(def_.ignoreNulls);
  } else if (NameEquals(name, "Fields") && value.IsString()) {
    // "A;+B;-C": the key fields, "-" for a descending one.
    if (core_) engerr::InvalidOperation();
    pendingFields_.clear();
    std::string text = value.AsString();
    std::size_t i = 0;
    while (i <= text.size()) {
      const auto semi = text.find(';', i);
      std::string part = text.substr(i, semi == std::string::npos ? semi : semi - i);
      if (!part.empty()) {
        const bool desc = part[0] == '-';
        if (part[0] == '-' || part[0] == '+') part.erase(0, 1);
        pendingFields_.push_back(KeyField(part, desc ? 1 : 0));
      }
      if (semi == std::string::npos) break;
      i = semi + 1;
    }
  } else {
    Object::SetProperty(name, value, index);
  }
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant Index::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "CreateField")) {
    return Variant(rt::ObjectRef(
        CreateField(TextArg(args, 0), rt::OptLongArg(args, 1, 10), rt::OptLongArg(args, 2, 0))));
  }
  if (NameEquals(name, "CreateProperty")) {
    const Variant& v = rt::ArgAt(args, 2);
    return Variant(rt::ObjectRef(
        std::make_shared<Property>(TextArg(args, 0), rt::OptLongArg(args, 1, DaoTypeOfValue(v)),
                                   v.IsMissing() ? Variant() : v)));
  }
  if (NameEquals(name, "Fields") || NameEquals(name, "Properties")) return GetProperty(name, args);
  return Object::Call(name, args);
}

// The built-in property names, listed first by the Properties collection.
std::vector<std::string> Index::BuiltinProperties() const {
  return {"Name", "Unique", "Primary", "Required", "Clustered", "IgnoreNulls", "Foreign"};
}

// The caller's own properties: the store's once appended, else those held here.
std::vector<schema::Prop> Index::CustomProperties() {
  if (!core_) return def_.props;
  return core_->store().Properties({schema::ObjectKind::Index, table_, def_.name});
}

// Adds or replaces one of the caller's own properties.
void Index::PutCustomProperty(const schema::Prop& prop) {
  if (!core_) return schema::PutProp(def_.props, prop);
  core_->store().PutProperty({schema::ObjectKind::Index, table_, def_.name}, prop);
}

// Removes one of the caller's own properties.
void Index::DeleteCustomProperty(std::string_view name) {
  if (!core_) {
    std::erase_if(def_.props, [&](const schema::Prop& p) { return NameEquals(p.name, name); });
    return;
  }
  core_->store().DeleteProperty({schema::ObjectKind::Index, table_, def_.name}, name);
}

// ---- TableDef ----

schema::TableDef TableDef::Stored() {
  auto t = core_->store().Table(def_.name);
  if (!t) engerr::ObjectInvalid();
  return std::move(*t);
}

// The definition as it is now: from the store when bound, else the pending one.
schema::TableDef TableDef::Def() {
  if (core_) return Stored();
  schema::TableDef d = def_;
  d.kind = d.connect.empty() ? schema::TableKind::Table : schema::TableKind::Link;
  for (const auto& f : pendingFields_) d.fields.push_back(f->Def());
  for (const auto& i : pendingIndexes_) d.indexes.push_back(i->Def());
  return d;
}

// Appending binds the definition and every pending field and index to the table.
void TableDef::Bind(CoreRef core) {
  core_ = std::move(core);
  for (const auto& f : pendingFields_) f->Bind(core_, def_.name);
  for (const auto& i : pendingIndexes_) i->Bind(core_, def_.name);
  pendingFields_.clear();
  pendingIndexes_.clear();
}

// The Fields collection: live over the store when bound, the pending list otherwise.
std::shared_ptr<Collection> TableDef::Fields() {
  if (!core_) {
    return PendingCollection(shared_from_this(), "Fields", pendingFields_, FieldExists,
                             kFieldsSource);
  }
  CoreRef core = core_;
  auto self = std::static_pointer_cast<TableDef>(shared_from_this());
  return StoreCollection<Field>(
      "Fields", kFieldsSource, [self] { return NamesOf(self->Stored().fields); },
      [self, core](const std::string& name) {
        return std::make_shared<Field>(core, self->name(), name);
      },
      [self, core](Field& f) {
        if (f.bound()) engerr::InvalidOperation();
        core->store().AddField(self->name(), f.Def());
        f.Bind(core, self->name());
      },
      [self, core](const std::string& name) { core->store().DropField(self->name(), name); });
}

// The Indexes collection: live over the store when bound, the pending list otherwise.
std::shared_ptr<Collection> TableDef::Indexes() {
  if (!core_) {
    return PendingCollection(shared_from_this(), "Indexes", pendingIndexes_, IndexExists,
                             kIndexesSource);
  }
  CoreRef core = core_;
  auto self = std::static_pointer_cast<TableDef>(shared_from_this());
  return StoreCollection<Index>(
      "Indexes", kIndexesSource, [self] { return NamesOf(self->Stored().indexes); },
      [self, core](const std::string& name) {
        return std::make_shared<Index>(core, self->name(), name);
      },
      [self, core](Index& i) {
        if (i.bound()) engerr::InvalidOperation();
        core->store().CreateIndex(self->name(), i.Def());
        i.Bind(core, self->name());
      },
      [self, core](const std::string& name) { core->store().DropIndex(self->name(), name); });
}

// DAO's defaults: a text field of no size is 255 wide (as Jet SQL's TEXT),
// and AllowZeroLength starts False.
std::shared_ptr<Field> TableDef::CreateField(const std::string& name, std::int32_t type,
                                             std::int32_t size) {
  schema::FieldDef d;
  d.name = name;
  d.type = type;
  d.size = size;
  d.allowZeroLength = false;
  return std::make_shared<Field>(std::move(d));
}

// A new pending index, appended later through the Indexes collection.
std::shared_ptr<Index> TableDef::CreateIndex(const std::string& name) {
  return std::make_shared<Index>(name);
}

// Renames the table when it is appended; else only the pending name changes.
void TableDef::SetName(const std::string& name) {
  if (core_) core_->store().RenameTable(def_.name, name);
  def_.name = name;
}

// Late-bound read of a member by name (any case); with an index, a collection member answers its
// item.
Variant TableDef::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return Variant(def_.name);
  if (NameEquals(name, "Fields")) return CollectionOrItem(Fields(), index);
  if (NameEquals(name, "Indexes")) return CollectionOrItem(Indexes(), index);
  if (NameEquals(name, "Properties")) {
    return CollectionOrItem(MakeProperties(shared_from_this(), *this), index);
  }
  if (NameEquals(name, "ValidationRule") || NameEquals(name, "ValidationText") ||
      NameEquals(name, "ConflictTable")) {
    return Variant(std::string());
  }
  if (NameEquals(name, "Updatable")) return Variant(true);
  if (NameEquals(name, "RecordCount")) {
    if (!core_) return Variant(0);
    return Variant(static_cast<std::int32_t>(core_->store().RecordCount(def_.name)));
  }
  const schema::TableDef d = core_ ? Stored() : def_;
  if (NameEquals(name, "Connect")) return Variant(d.connect);
  if (NameEquals(name, "SourceTableName")) return Variant(d.sourceTable);
  if (NameEquals(name, "Attributes")) return Variant(d.attributes);
  if (NameEquals(name, "DateCreated")) return d.dateCreated;
  if (NameEquals(name, "LastUpdated")) return d.lastUpdated;
  return Object::GetProperty(name, index);
}

// Late-bound write of a member by name (any case); 438 for a member the object lacks.
void TableDef::SetProperty(std::string_view name, const Variant& value,
                           const std::vector<Variant>& index) {
  if (NameEquals(name, "Name")) return SetName(rt::CStr(value));
  const bool link = NameEquals(name, "Connect") || NameEquals(name, "SourceTableName") ||
                    NameEquals(name, "Attributes");
  if (!link) return Object::SetProperty(name, value, index);
  if (!core_) {
    if (NameEquals(name, "Connect")) def_.connect = rt::TextOf(value);
    if (NameEquals(name, "SourceTableName")) def_.sourceTable = rt::TextOf(value);
    if (NameEquals(name, "Attributes")) def_.attributes = rt::CLng(value);
    return;
  }
  schema::TableDef d = Stored();
  if (d.kind != schema::TableKind::Link) engerr::InvalidOperation();
  if (NameEquals(name, "Connect")) d.connect = rt::TextOf(value);
  if (NameEquals(name, "SourceTableName")) d.sourceTable = rt::TextOf(value);
  if (NameEquals(name, "Attributes")) d.attributes = rt::CLng(value);
  core_->store().ChangeLink(d.name, d.connect, d.sourceTable, d.attributes);
}

// Late-bound method call by name (any case); collections read as methods answer their item.
Variant TableDef::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "CreateField")) {
    return Variant(rt::ObjectRef(
        CreateField(TextArg(args, 0), rt::OptLongArg(args, 1, 10), rt::OptLongArg(args, 2, 0))));
  }
  if (NameEquals(name, "CreateIndex")) return Variant(rt::ObjectRef(CreateIndex(TextArg(args, 0))));
  if (NameEquals(name, "CreateProperty")) {
    const Variant& v = rt::ArgAt(args, 2);
    return Variant(rt::ObjectRef(
        std::make_shared<Property>(TextArg(args, 0), rt::OptLongArg(args, 1, DaoTypeOfValue(v)),
                                   v.IsMissing() ? Variant() : v)));
  }
  if (NameEquals(name, "RefreshLink")) {
    if (!core_) engerr::InvalidOperation();
    const schema::TableDef d = Stored();
    if (d.kind != schema::TableKind::Link) engerr::InvalidOperation();
    core_->store().ChangeLink(d.name, d.connect, d.sourceTable, d.attributes);
    return {};
  }
  if (NameEquals(name, "Fields") || NameEquals(name, "Indexes") || NameEquals(name, "Properties")) {
    return GetProperty(name, args);
  }
  return Object::Call(name, args);
}

// The built-in property names, listed first by the Properties collection.
std::vector<std::string> TableDef::BuiltinProperties() const {
  return {"Name",           "Updatable",      "DateCreated",     "LastUpdated",
          "Connect",        "Attributes",     "SourceTableName", "RecordCount",
          "ValidationRule", "ValidationText", "ConflictTable"};
}

// The caller's own properties: the store's once appended, else those held here.
std::vector<schema::Prop> TableDef::CustomProperties() {
  if (!core_) return def_.props;
  return core_->store().Properties({schema::ObjectKind::Table, def_.name, ""});
}

// Adds or replaces one of the caller's own properties.
void TableDef::PutCustomProperty(const schema::Prop& prop) {
  if (!core_) return schema::PutProp(def_.props, prop);
  core_->store().PutProperty({schema::ObjectKind::Table, def_.name, ""}, prop);
}

// Removes one of the caller's own properties.
void TableDef::DeleteCustomProperty(std::string_view name) {
  if (!core_) {
    std::erase_if(def_.props, [&](const schema::Prop& p) { return NameEquals(p.name, name); });
    return;
  }
  core_->store().DeleteProperty({schema::ObjectKind::Table, def_.name, ""}, name);
}

}  // namespace zmdb::dal::dao
