// Answering modal dialogs from a test: the dialog's own event loop runs a
// timer that waits for the modal widget to show, then hands it to the answer
// (which inspects it and clicks, types or closes, as a user would).
#pragma once

#include <QApplication>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <functional>

namespace zmdb::testing {

class ModalAnswer {
 public:
  explicit ModalAnswer(std::function<void(QWidget*)> answer) : answer_(std::move(answer)) {
    timer_.setInterval(5);
    QObject::connect(&timer_, &QTimer::timeout, [this] {
      QWidget* modal = QApplication::activeModalWidget();
      if (!modal || !modal->isVisible()) return;
      timer_.stop();
      ++answered_;
      QPointer<QWidget> shown = modal;
      answer_(modal);
      // An answer that failed half-way must not leave the test waiting.
      if (shown && shown->isVisible()) shown->hide();
    });
    timer_.start();
  }
  // The widget of the given type, or nullptr (the answer then closes whatever showed).
  template <class W>
  static W* As(QWidget* modal) {
    return qobject_cast<W*>(modal);
  }
  int answered() const { return answered_; }

 private:
  std::function<void(QWidget*)> answer_;
  QTimer timer_;
  int answered_ = 0;
};

}  // namespace zmdb::testing
