// MainDialog: unpacking the archive and handing the raster to the import.
#include "app/MainDialog.h"

void MainDialog::slotCreateBIL()
{
    labelHTMLMessage->clear();
    seamlessFinished = true;
}
