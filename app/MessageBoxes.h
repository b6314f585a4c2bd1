#pragma once

#include <QMessageBox>

#include <functional>

class QWidget;

// Every message box of the program goes through here. Normally it is a real
// modal QMessageBox; a program without a window, or a test, installs a
// handler that answers instead, so nothing ever waits for a click.
class MessageBoxes
{
public:
    using Handler = std::function<QMessageBox::StandardButton(QMessageBox::Icon icon, QWidget* parent,
        const QString& title, const QString& text, QMessageBox::StandardButtons buttons)>;

    static QMessageBox::StandardButton show(QMessageBox::Icon icon, QWidget* parent, const QString& title,
        const QString& text, QMessageBox::StandardButtons buttons = QMessageBox::Ok,
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton);

    // An empty handler brings the real boxes back.
    static void setHandler(Handler handler);
};
