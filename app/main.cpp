#include "app/MainDialog.h"
#include "app/MessageBoxes.h"
#include "app/ModalMessageBox.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    MainDialog dialog;
    // Boxes asked for without a window (the run's) belong to the dialog.
    MessageBoxes::setHandler([&dialog](MessageBoxes::Icon icon, QWidget* parent, const QString& title,
                                 const QString& text, MessageBoxes::Buttons buttons) {
        return ModalMessageBox::show(icon, parent ? parent : &dialog, title, text, buttons);
    });
    return dialog.exec();
}
