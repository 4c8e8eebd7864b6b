// The four intersection functions, in both forms, over trees of both builders, with rays that are ordinary and rays that
// are not.
#include "hashes/scene.h"

namespace hashes {
namespace {

enum class Kind { many, eye, any, multiple };
enum class Form { oneRay, packet };

struct Block {
  VekrBlockSize size;
  size_t offset;  // bytes by which the arrays miss an alignment to 64
};

float direction(Random &random, bool hostile) {
  return hostile ? random.hostile() : random.within(-1.0f, 1.0f);
}

uint64_t trace(Kind kind, const VekrIntersectScene &scene, Block block, bool hostile) {
  const auto [size, offset] = block;
  const int32_t depth = kind == Kind::multiple ? 9 : 1;
  const auto rays = static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
  const size_t all = rays * static_cast<size_t>(depth);
  Random random(41);
  Planes<float> origins(3, rays, offset), directions(3, rays, offset), weights(2, all, offset);
  Array<float> distances(all, offset);
  Array<int32_t> triangles(all, offset), mask(rays, offset);
  origins.fill([&] { return hostile ? random.hostile() : random.within(-5.0f, 5.0f); });
  directions.fill([&] { return direction(random, hostile); });
  // A narrow bundle in the first rows, as an eye has: tiles of one octant, through all of the mesh.
  for (size_t i = 0; i < rays / 2; ++i) {
    directions[0][i] = random.within(0.5f, 3.0f);
    directions[1][i] = random.within(0.25f, 2.0f);
    directions[2][i] = -8.0f;
  }
  distances.fill([&] { return random.below(8) ? 1e6f : random.within(0.0f, 4.0f); });
  mask.fill([&] { return random.below(3) - 1; });
  const float origin[3] = {-1.5f, -1.0f, 3.5f};
  VekStatus status = -1;
  switch (kind) {
    case Kind::many:
      status = vekrIntersectMO_32f(origins.in(), directions.in(), distances.data(), weights.list(),
                                   triangles.data(), &scene, size);
      break;
    case Kind::eye:
      status = vekrIntersectEyeSO_32f(origin, directions.in(), distances.data(), weights.list(),
                                      triangles.data(), &scene, size);
      break;
    case Kind::any:
      status = vekrIntersectAnySO_32f(origin, directions.in(), triangles.data(), mask.data(), size, &scene);
      break;
    case Kind::multiple:
      status = vekrIntersectMultipleSO_32f(origin, directions.in(), distances.data(), weights.list(),
                                           triangles.data(), &scene, {size.width, size.height, depth});
      break;
  }
  return hashOf(status, distances, weights, triangles, mask);
}

uint64_t traceForm(Kind kind, const VekrIntersectScene &scene, Form form, bool hostile) {
  static const Block packets[] = {{{16, 16}, 0}, {{4, 4}, 16}, {{20, 8}, 32}};
  static const Block single[] = {{{16, 16}, 4}, {{13, 7}, 0}, {{4, 3}, 16}, {{1, 1}, 8}, {{0, 5}, 0}};
  Hash hash;
  if (form == Form::packet) {
    for (const Block &block : packets) hash.word(trace(kind, scene, block, hostile));
  } else {
    for (const Block &block : single) hash.word(trace(kind, scene, block, hostile));
  }
  return hash.value();
}

struct Named {
  const char *name;
  Kind kind;
};
constexpr Named kKinds[] = {
    {"many", Kind::many}, {"eye", Kind::eye}, {"any", Kind::any}, {"multiple", Kind::multiple}};

}  // namespace

void addIntersectionRows(Rows &rows) {
  for (const auto &[name, kind] : kKinds) {
    for (const Form form : {Form::oneRay, Form::packet}) {
      for (const bool surfaceArea : {false, true}) {
        for (const bool hostile : {false, true}) {
          rows.push_back({std::string("intersect/") + name + (form == Form::packet ? "/packet" : "/ray") +
                              (surfaceArea ? "/tree" : "/leaf") + (hostile ? "/hostile" : ""),
                          form == Form::packet, 0, [=, kind = kind] {
                            Hash hash;
                            for (const Mesh &mesh : {ground(9), soup(250)}) {
                              const Scene scene(mesh, surfaceArea);
                              hash.word(traceForm(kind, scene.scene, form, hostile));
                            }
                            return hash.value();
                          }});
        }
      }
    }
  }
}

}  // namespace hashes
