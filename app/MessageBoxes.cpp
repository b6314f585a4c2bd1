#include "MessageBoxes.h"

namespace {
MessageBoxes::Handler& currentHandler()
{
    static MessageBoxes::Handler handler;
    return handler;
}
} // namespace

QMessageBox::StandardButton MessageBoxes::show(QMessageBox::Icon icon, QWidget* parent, const QString& title,
    const QString& text, QMessageBox::StandardButtons buttons, QMessageBox::StandardButton defaultButton)
{
    if (currentHandler())
        return currentHandler()(icon, parent, title, text, buttons);
    QMessageBox box(icon, title, text, buttons, parent);
    box.setDefaultButton(defaultButton);
    return static_cast<QMessageBox::StandardButton>(box.exec());
}

void MessageBoxes::setHandler(Handler handler)
{
    currentHandler() = std::move(handler);
}
