// The reader of the geocoder's result page.

#include "FuzzEnvironment.h"
#include "geocode/GeocodePage.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const GeocodePage page(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    page.missingMessage();
    return 0;
}
