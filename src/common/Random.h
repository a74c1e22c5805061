#pragma once

namespace common {

// A seeded pseudo-random source: the seed is the product, modulo 2^32, of the
// seconds and microseconds of the clock at construction; Next() is rand_r.
class Random {
 public:
  Random();
  explicit Random(unsigned seed) : seed(seed) {}

  int Next();

 private:
  unsigned seed;
};

}  // namespace common
