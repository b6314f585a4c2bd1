#include "MessageBoxes.h"

#include <QtDebug>

namespace {
MessageBoxes::Handler& currentHandler()
{
    static MessageBoxes::Handler handler;
    return handler;
}
} // namespace

MessageBoxes::Button MessageBoxes::show(
    Icon icon, QWidget* parent, const QString& title, const QString& text, Buttons buttons)
{
    if (currentHandler())
        return currentHandler()(icon, parent, title, text, buttons);
    qWarning().noquote() << "Unanswered message box:" << title << text;
    return NoButton;
}

void MessageBoxes::setHandler(Handler handler) { currentHandler() = std::move(handler); }
