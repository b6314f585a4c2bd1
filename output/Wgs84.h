#pragma once

// Distances on the WGS 84 ellipsoid, for turning degrees into metres.
class Wgs84 {
public:
    static constexpr double semiMajorAxis = 6378137.0;

    // Along a meridian and along a parallel, at the given latitude in degrees.
    static double metresPerDegreeOfLatitude(double latitude);
    static double metresPerDegreeOfLongitude(double latitude);
};
