// The request-summary page: the download form's address and the page-level
// readings, including the cut of the error passage.

#include "FuzzEnvironment.h"
#include "elevation/RequestForm.h"
#include "elevation/ServicePage.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray page(reinterpret_cast<const char*>(data), qsizetype(size));
    RequestForm::downloadUrl(page);
    ServicePage::isRequestSummary(page);
    ServicePage::downloadButtons(page);
    ServicePage::richText(ServicePage::withoutErrorPassage(page));
    return 0;
}
