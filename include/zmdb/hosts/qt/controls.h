// Qt widgets behind the late-bound control contracts the library fills and
// moves (the same members, values and errors as the headless controls of
// zmdb/ui/controls.h, whose rules they reuse): a QListWidget or QComboBox as
// a list ("ListBox") or combo box ("ComboBox"), a QProgressBar as a progress
// bar ("ProgressBar") and a QLabel as a label ("Label").
//
// Each object keeps a headless control as its model and mirrors every change
// onto its widget: items at the position the model gives them, each item's
// ItemData as the widget item's data (Qt::UserRole), the selection both
// ways (a row the user picks becomes ListIndex). The widget stays owned by
// its form; once it is destroyed the object goes on answering from its model.
#pragma once

#include "zmdb/runtime/object.h"

class QComboBox;
class QLabel;
class QListWidget;
class QProgressBar;

namespace zmdb::hosts::qt {

rt::ObjectRef ListBoxControl(QListWidget* widget);
rt::ObjectRef ComboBoxControl(QComboBox* widget);
rt::ObjectRef ProgressBarControl(QProgressBar* widget);
rt::ObjectRef LabelControl(QLabel* widget);

}  // namespace zmdb::hosts::qt
