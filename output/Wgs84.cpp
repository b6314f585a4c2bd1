#include "Wgs84.h"

#include <cmath>
#include <numbers>

namespace {

constexpr double flattening = 1 / 298.257223563;
constexpr double eccentricitySquared = flattening * (2 - flattening);
constexpr double radiansPerDegree = std::numbers::pi / 180;

double sinSquared(double latitude)
{
    const double s = std::sin(latitude * radiansPerDegree);
    return s * s;
}

} // namespace

double Wgs84::metresPerDegreeOfLatitude(double latitude)
{
    // The meridian's radius of curvature.
    const double w = 1 - eccentricitySquared * sinSquared(latitude);
    return semiMajorAxis * (1 - eccentricitySquared) / (w * std::sqrt(w)) * radiansPerDegree;
}

double Wgs84::metresPerDegreeOfLongitude(double latitude)
{
    // The prime vertical's radius of curvature, times the parallel's share of it.
    const double normal = semiMajorAxis / std::sqrt(1 - eccentricitySquared * sinSquared(latitude));
    return normal * std::cos(latitude * radiansPerDegree) * radiansPerDegree;
}
