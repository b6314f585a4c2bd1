#include "app/MainDialog.h"

#include <QApplication>

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    MainDialog dialog;
    return dialog.exec();
}
