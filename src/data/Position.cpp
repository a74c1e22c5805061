#include "data/Position.h"

#include <cmath>
#include <cstdint>

namespace data {

namespace {

// The scale of the formula: 129600000, although coordinates count millionths
// of a degree (360000000 would be a full circle). Thresholds elsewhere were
// tuned against results of this scale, so it stays.
constexpr double kScale = 129600000.0;
constexpr double kPi = 3.14159265358979323846;
constexpr double kEquator = 40030173.59204114;
constexpr double kNorthSouthFactor = 0.30896111111111113;

// The difference as the device computes it: 32-bit two's complement, wrapping
// instead of overflowing for positions far outside the valid range.
int Difference(int a, int b) { return static_cast<int>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }

}  // namespace

double Position::Distance(const Position& other) const {
  const int latitudeDifference = Difference(latitude, other.latitude);
  const int longitudeDifference = Difference(longitude, other.longitude);
  // One operation per statement, in this order: the results must agree bit
  // for bit with the device's.
  double angle = latitude / kScale;
  angle = angle + angle;
  angle = angle * kPi;
  const double c = std::cos(angle);
  double x = c * kEquator;
  x = x / kScale;
  x = x * longitudeDifference;
  const double y = kNorthSouthFactor * latitudeDifference;
  const double xx = x * x;
  const double yy = y * y;
  return std::sqrt(xx + yy);
}

}  // namespace data
