#include "zmdb/hosts/qt/controls.h"

#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QProgressBar>
#include <climits>
#include <cmath>

#include "zmdb/runtime/convert.h"
#include "zmdb/ui/controls.h"

namespace zmdb::hosts::qt {

namespace {

using rt::Variant;

// A control whose headless model answers every read and checks every change;
// the subclass mirrors the changes onto the widget while there is one.
template <class Model>
class Mirrored : public rt::Object {
 public:
  Mirrored(std::string typeName, QWidget* widget) : model_(std::move(typeName)), widget_(widget) {}

  std::string TypeName() const override { return model_.TypeName(); }
  Variant DefaultValue() override { return model_.DefaultValue(); }
  Variant GetProperty(std::string_view name, const std::vector<Variant>& index) override {
    return model_.GetProperty(name, index);
  }

 protected:
  Model model_;
  QPointer<QWidget> widget_;
};

// A list or combo box: the headless list control decides every value (where
// an item goes, which index is valid, what is refused); the widget shows it.
class QtListControl : public Mirrored<ui::ListControl> {
 public:
  using Mirrored::Mirrored;
  ~QtListControl() override { QObject::disconnect(picked_); }

  void SetProperty(std::string_view name, const Variant& value,
                   const std::vector<Variant>& index) override {
    model_.SetProperty(name, value, index);
    if (!widget_) return;
    Mirroring mirroring(*this);
    if (rt::NameEquals(name, "ItemData")) {
      const int row = rt::CLng(index.at(0));
      SetData(row, model_.itemData()[static_cast<std::size_t>(row)]);
    } else if (rt::NameEquals(name, "ListIndex")) {
      Select(ListIndex());
    }
  }

  Variant Call(std::string_view name, std::vector<Variant>& args) override {
    Variant result = model_.Call(name, args);
    if (!widget_) return result;
    Mirroring mirroring(*this);
    if (rt::NameEquals(name, "AddItem")) {
      const int row = rt::CLng(model_.GetProperty("NewIndex", {}));
      Insert(row, QString::fromStdString(model_.items()[static_cast<std::size_t>(row)]));
      SetData(row, 0);
      Select(ListIndex());  // a combo box selects its first item by itself
    } else if (rt::NameEquals(name, "Clear")) {
      ClearAll();
    }
    return result;
  }

  // The row the user picks becomes ListIndex.
  void Picked(int row) {
    if (mirroring_) return;
    // Items put into the widget behind the library's back are not the
    // model's: the model keeps its own selection then.
    try {
      model_.SetProperty("ListIndex", Variant(static_cast<std::int32_t>(row)), {});
    } catch (const std::exception&) {
    }
  }
  void Watch(QMetaObject::Connection connection) { picked_ = connection; }

 protected:
  virtual void Insert(int row, const QString& text) = 0;
  virtual void SetData(int row, std::int32_t data) = 0;
  virtual void Select(int row) = 0;
  virtual void ClearAll() = 0;
  QWidget* widget() const { return widget_; }

 private:
  // Changes made to the widget to mirror the model are not picks of the user.
  struct Mirroring {
    explicit Mirroring(QtListControl& c) : control(c) { control.mirroring_ = true; }
    ~Mirroring() { control.mirroring_ = false; }
    QtListControl& control;
  };

  int ListIndex() { return rt::CLng(model_.GetProperty("ListIndex", {})); }

  QMetaObject::Connection picked_;
  bool mirroring_ = false;
};

class ListWidgetControl : public QtListControl {
 public:
  explicit ListWidgetControl(QListWidget* w) : QtListControl("ListBox", w) {}

 private:
  QListWidget* list() const { return static_cast<QListWidget*>(widget()); }
  void Insert(int row, const QString& text) override { list()->insertItem(row, text); }
  void SetData(int row, std::int32_t data) override {
    list()->item(row)->setData(Qt::UserRole, data);
  }
  void Select(int row) override { list()->setCurrentRow(row); }
  void ClearAll() override { list()->clear(); }
};

class ComboControl : public QtListControl {
 public:
  explicit ComboControl(QComboBox* w) : QtListControl("ComboBox", w) {}

 private:
  QComboBox* combo() const { return static_cast<QComboBox*>(widget()); }
  void Insert(int row, const QString& text) override { combo()->insertItem(row, text); }
  void SetData(int row, std::int32_t data) override { combo()->setItemData(row, data); }
  void Select(int row) override { combo()->setCurrentIndex(row); }
  void ClearAll() override { combo()->clear(); }
};

int ToInt(double v) {
  if (std::isnan(v)) return 0;
  const double r = std::round(v);
  if (r <= INT_MIN) return INT_MIN;
  if (r >= INT_MAX) return INT_MAX;
  return static_cast<int>(r);
}

// A progress bar or a label: the headless control checks and keeps every
// value; the widget shows the current one at once (the backup does not turn
// the message loop while it writes, so the widget repaints itself).
class QtProgressControl : public Mirrored<ui::ProgressControl> {
 public:
  QtProgressControl(std::string typeName, QWidget* widget) : Mirrored(std::move(typeName), widget) {
    model_.SetProperty("Visible", Variant(!widget->isHidden()), {});
  }

  void SetProperty(std::string_view name, const Variant& value,
                   const std::vector<Variant>& index) override {
    model_.SetProperty(name, value, index);
    if (!widget_) return;
    if (rt::NameEquals(name, "Visible")) {
      widget_->setVisible(model_.visible());
      return;
    }
    if (auto* bar = qobject_cast<QProgressBar*>(widget_.data())) {
      if (rt::NameEquals(name, "Min") || rt::NameEquals(name, "Max")) {
        bar->setRange(ToInt(rt::CDbl(model_.GetProperty("Min", {}))), ToInt(model_.max()));
      } else if (rt::NameEquals(name, "Value")) {
        bar->setValue(ToInt(rt::CDbl(model_.DefaultValue())));
        bar->repaint();
      }
    } else if (auto* label = qobject_cast<QLabel*>(widget_.data())) {
      if (rt::NameEquals(name, "Caption")) {
        label->setText(QString::fromStdString(rt::CStr(model_.DefaultValue())));
        label->repaint();
      }
    }
  }

  // The bar's range as the form made it, when it is a range the model takes.
  void TakeRange(const QProgressBar& bar) {
    if (bar.maximum() <= bar.minimum()) return;
    const Variant lo(static_cast<double>(bar.minimum())), hi(static_cast<double>(bar.maximum()));
    if (bar.minimum() < ui::ProgressControl::kDefaultMax) {
      model_.SetProperty("Min", lo, {});
      model_.SetProperty("Max", hi, {});
    } else {
      model_.SetProperty("Max", hi, {});
      model_.SetProperty("Min", lo, {});
    }
  }
};

}  // namespace

rt::ObjectRef ListBoxControl(QListWidget* widget) {
  auto control = std::make_shared<ListWidgetControl>(widget);
  control->Watch(QObject::connect(widget, &QListWidget::currentRowChanged,
                                  [c = control.get()](int row) { c->Picked(row); }));
  return control;
}

rt::ObjectRef ComboBoxControl(QComboBox* widget) {
  auto control = std::make_shared<ComboControl>(widget);
  control->Watch(QObject::connect(widget, &QComboBox::currentIndexChanged,
                                  [c = control.get()](int row) { c->Picked(row); }));
  return control;
}

rt::ObjectRef ProgressBarControl(QProgressBar* widget) {
  auto control = std::make_shared<QtProgressControl>("ProgressBar", widget);
  control->TakeRange(*widget);
  return control;
}

rt::ObjectRef LabelControl(QLabel* widget) {
  return std::make_shared<QtProgressControl>("Label", widget);
}

}  // namespace zmdb::hosts::qt
