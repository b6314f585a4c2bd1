#include "ModalMessageBox.h"

#include <QMessageBox>

#include <utility>

namespace {

constexpr std::pair<MessageBoxes::Button, QMessageBox::StandardButton> buttonPairs[] = {
    { MessageBoxes::Ok, QMessageBox::Ok },
    { MessageBoxes::Yes, QMessageBox::Yes },
    { MessageBoxes::No, QMessageBox::No },
    { MessageBoxes::Abort, QMessageBox::Abort },
    { MessageBoxes::Ignore, QMessageBox::Ignore },
};

QMessageBox::Icon boxIcon(MessageBoxes::Icon icon)
{
    switch (icon) {
    case MessageBoxes::Information:
        return QMessageBox::Information;
    case MessageBoxes::Warning:
        return QMessageBox::Warning;
    case MessageBoxes::Critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

} // namespace

MessageBoxes::Button ModalMessageBox::show(MessageBoxes::Icon icon, QWidget* parent, const QString& title,
    const QString& text, MessageBoxes::Buttons buttons)
{
    QMessageBox::StandardButtons boxButtons;
    for (const auto& [button, boxButton] : buttonPairs)
        if (buttons.testFlag(button))
            boxButtons |= boxButton;
    QMessageBox box(boxIcon(icon), title, text, boxButtons, parent);
    const int pressed = box.exec();
    for (const auto& [button, boxButton] : buttonPairs)
        if (pressed == boxButton)
            return button;
    return MessageBoxes::NoButton;
}
