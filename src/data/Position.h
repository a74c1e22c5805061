#pragma once

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

namespace data {

// A point on the earth in millionths of a degree, north and east positive.
// (0, 0) is the null position: there is none.
class Position {
 public:
  Position() = default;
  Position(int latitude, int longitude) : latitude(latitude), longitude(longitude) {}

  bool operator==(const Position& other) const {
    return latitude == other.latitude && longitude == other.longitude;
  }
  bool operator!=(const Position& other) const { return !(*this == other); }

  bool IsNull() const { return latitude == 0 && longitude == 0; }
  void Clear() { latitude = longitude = 0; }

  // A plane approximation used as metres by the arrival reports. It isn't
  // symmetric: the cosine takes this position's latitude. The arithmetic is
  // fixed step by step (see Position.cpp), since thresholds were chosen
  // against exactly these numbers.
  double Distance(const Position& other) const;

  // Archive form: latitude, longitude.
  template <class Archive>
  void serialize(Archive& archive, const unsigned int version);

  int latitude = 0;
  int longitude = 0;
};

}  // namespace data

BOOST_CLASS_VERSION(data::Position, 1)
BOOST_CLASS_TRACKING(data::Position, boost::serialization::track_never)
