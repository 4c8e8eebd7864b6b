// The two places of a voxel in its plane, and what they mean for a row of the destination. For kernel files.
#pragma once

#include <cstdint>

#include "frame/lanes.h"
#include "prresize/axis.h"

namespace vekr::VEKR_ISA {

enum class Place { frame, interior };

template <Place where>
struct PlaceIs {
  static constexpr Place place = where;
};

// body(PlaceIs<...>, begin, end) for the parts of row y. Rows of the lead and tail margins are frame as a whole.
template <class Weight, class Body>
void forPlaces(const PlaneAxes<Weight> &axes, int32_t y, const Body &body) {
  const AxisRuns &columns = axes.x.runs, &rows = axes.y.runs;
  const int32_t width = columns.count();
  if (y < rows.lead() || y >= rows.tailBegin()) {
    body(PlaceIs<Place::frame>(), 0, width);
    return;
  }
  body(PlaceIs<Place::frame>(), 0, columns.lead());
  body(PlaceIs<Place::interior>(), columns.lead(), columns.tailBegin());
  body(PlaceIs<Place::frame>(), columns.tailBegin(), width);
}

}  // namespace vekr::VEKR_ISA
