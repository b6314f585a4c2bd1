#include "app/MainDialog.h"
#include "app/MessageBoxes.h"
#include "app/ModalMessageBox.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    MessageBoxes::setHandler(&ModalMessageBox::show);
    MainDialog dialog;
    return dialog.exec();
}
