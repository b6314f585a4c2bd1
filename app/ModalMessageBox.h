#pragma once

#include "app/MessageBoxes.h"

// The program's real message boxes: a modal QMessageBox with the icon, title,
// text and buttons asked for, no default button given. The program's main
// installs show() as the handler of MessageBoxes.
class ModalMessageBox {
public:
    // Returns when the user has closed the box: with the button pressed, or
    // the box's escape button when it was closed otherwise.
    static MessageBoxes::Button show(MessageBoxes::Icon icon, QWidget* parent, const QString& title,
        const QString& text, MessageBoxes::Buttons buttons);
};
