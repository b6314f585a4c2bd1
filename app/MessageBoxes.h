#pragma once

#include <QObject>
#include <QString>

#include <functional>

class QWidget;

// Every message box of the program goes through here, so that code below
// the windows can ask without showing one itself. The program's main
// installs ModalMessageBox, a real modal box; a program without a window, or
// a test, installs a handler that answers at once.
class MessageBoxes {
    Q_GADGET

public:
    enum Icon { Information, Warning, Critical };
    Q_ENUM(Icon)
    enum Button { NoButton = 0x0, Ok = 0x1, Yes = 0x2, No = 0x4, Abort = 0x8, Ignore = 0x10 };
    Q_ENUM(Button)
    Q_DECLARE_FLAGS(Buttons, Button)

    using Handler = std::function<Button(
        Icon icon, QWidget* parent, const QString& title, const QString& text, Buttons buttons)>;

    // The button the handler answers with. Without a handler nobody can
    // answer: the box goes to Qt's warning output and the answer is
    // NoButton, which no question takes for a yes.
    static Button show(
        Icon icon, QWidget* parent, const QString& title, const QString& text, Buttons buttons = Ok);

    // An empty handler leaves the boxes unanswered again.
    static void setHandler(Handler handler);
};

Q_DECLARE_OPERATORS_FOR_FLAGS(MessageBoxes::Buttons)
