#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"

// The map tile server: "/zoom/x/y.png" answered with a 256 x 256 PNG, and
// 404 for tile numbers outside the zoom level's grid.
class TileService {
public:
    // False when the path does not have the shape of a tile address.
    bool answer(const HttpRequest& request, const HttpResponder& respond) const;
};
