#include "harness/geometry.h"

#include <regex>
#include <tuple>
#include <type_traits>

#include "frame/dispatch.h"

namespace kel::harness {
namespace {

// ---- Calling any export from CallArgs ---------------------------------------

struct Counters {
  int ptr = 0, arr = 0, step = 0, stepArr = 0, scalar = 0, matrix = 0;
  bool afterRoi = false;
};

template <class P>
P Take(const CallArgs& a, Counters& c) {
  if constexpr (std::is_same_v<P, KelImageSize>) {
    c.afterRoi = true;
    return a.roi;
  } else if constexpr (std::is_same_v<P, const int*>) {
    return a.stepArrays[c.stepArr++];
  } else if constexpr (std::is_pointer_v<P>) {
    if (c.afterRoi)
      return static_cast<P>(const_cast<void*>(a.matrices[c.matrix++]));
    if constexpr (std::is_pointer_v<std::remove_pointer_t<P>>)
      return reinterpret_cast<P>(const_cast<void**>(a.arrays[c.arr++]));
    else
      return static_cast<P>(const_cast<void*>(a.ptrs[c.ptr++]));
  } else if constexpr (std::is_pointer_v<P> &&
                       std::is_pointer_v<std::remove_pointer_t<P>>) {
    return reinterpret_cast<P>(const_cast<void**>(a.arrays[c.arr++]));
  } else if constexpr (std::is_pointer_v<P>) {
    return static_cast<P>(const_cast<void*>(a.ptrs[c.ptr++]));
  } else if constexpr (std::is_same_v<P, int>) {
    return c.afterRoi ? static_cast<int>(a.scalars[c.scalar++])
                      : a.steps[c.step++];
  } else {
    return static_cast<P>(a.scalars[c.scalar++]);
  }
}

template <class... A>
KelResult CallWith(KelResult (*f)(A...), const CallArgs& a) {
  Counters c;
  // Braced initialisation evaluates left to right, in parameter order.
  const std::tuple<A...> args{Take<A>(a, c)...};
  return std::apply(f, args);
}

#define KEL_STR_(x) #x
#define KEL_STR(x) KEL_STR_(x)
struct Listed {
  const char* name;
  const char* params;
  Invoker call;
};
#define KEL_LISTED_(name, params) \
  Listed{#name, KEL_STR(params),  \
         [](const CallArgs& a) { return CallWith(&::name, a); }},
const Listed kListed[] = {KELCC_EXPORTS(KEL_LISTED_)};
#undef KEL_LISTED_

// ---- What the names cannot say
// ------------------------------------------------

struct Extra {
  const char* exportName;
  Scalar scalar;
};
const Extra kExtras[] = {
    // The slice position of the filtered 4:2:0 to packed 4:2:2 member:
    // whole (any value with bits 1, 4 and 16 set); a value that is none of
    // top, middle, bottom or whole converts nothing and succeeds. (Top,
    // middle and bottom slices read rows below or above the region, which
    // the harness's planes do not have.)
    {"keliYCbCr420ToYCbCr422_Filter_8u_P2C2R",
     {"layout", {21, -1, 0x7fffffff}, {0, 2, 5, 20, 22, 64}, kelOk}},
};

struct WholeBlocks {
  const char* exportName;
  int w, h;
};
const WholeBlocks kWholeBlocks[] = {
    {"keliYCbCr420To1620_8u_P3R", 4, 4},
    {"keliYCbCr1620To420_8u_P3R", 4, 4},
    {"keliYCbCr411To420_8u_P3R", 4, 4},
    {"keliYCbCr420To411_8u_P3R", 4, 2},
};

// ---- Parsing
// ------------------------------------------------------------------

enum Layout { kC1, kC2, kC3, kC4, kAC4, kP2, kP3, kP4, kAP4 };

bool LayoutOf(const std::string& t, Layout* l) {
  static const std::pair<const char*, Layout> kNames[] = {
      {"C1", kC1}, {"C2", kC2}, {"C3", kC3}, {"C4", kC4},  {"AC4", kAC4},
      {"P2", kP2}, {"P3", kP3}, {"P4", kP4}, {"AP4", kAP4}};
  for (auto& [n, v] : kNames)
    if (t == n) return *l = v, true;
  return false;
}
int PlanesOf(Layout l) {
  return l == kP2 ? 2 : l == kP3 ? 3 : (l == kP4 || l == kAP4) ? 4 : 1;
}
int ElemBytes(const std::string& type) {
  if (type == "Kel8u" || type == "Kel8s") return 1;
  if (type == "Kel16u" || type == "Kel16s") return 2;
  if (type == "Kel32s" || type == "Kel32f") return 4;
  if (type == "Kel64f") return 8;
  return 0;
}
int SamplingOf(const std::string& side) {
  for (int s : {1620, 422, 420, 411})
    if (side.find(std::to_string(s)) != std::string::npos) return s;
  return 444;
}

int Ceil(int a, int b) { return (a + b - 1) / b; }

Geometry Parse(const Listed& l, int slot) {
  Geometry g;
  g.name = l.name;
  g.slot = slot;
  g.call = l.call;
  auto fail = [&](const std::string& why) {
    g.ok = false;
    g.why = why;
    return g;
  };
  // Name: keli<op>[_qualifiers]_<type>_<layouts>[I]R
  static const std::regex kName(
      R"(^keli([A-Za-z0-9]+)(?:_[A-Za-z0-9]+)*?_(\d+[usf](?:\d+[usf])?)_(I?)((?:AC4|AP4|C[1-4]|P[2-4])+)(I?)R$)");
  std::smatch m;
  if (!std::regex_match(g.name, m, kName)) return fail("name");
  const std::string op = m[1], layouts = m[4];
  g.inPlace = m[3] == "I" || m[5] == "I";
  std::vector<Layout> sides;
  static const std::regex kToken("AC4|AP4|C[1-4]|P[2-4]");
  for (auto it = std::sregex_iterator(layouts.begin(), layouts.end(), kToken);
       it != std::sregex_iterator(); ++it) {
    Layout lay;
    if (!LayoutOf(it->str(), &lay)) return fail("layout " + it->str());
    sides.push_back(lay);
  }
  if (sides.size() == 1) sides.push_back(sides[0]);
  if (sides.size() != 2) return fail("layouts");
  const size_t to = op.find("To");
  const int sampling[2] = {
      SamplingOf(to == std::string::npos ? op : op.substr(0, to)),
      SamplingOf(to == std::string::npos ? op : op.substr(to + 2))};
  for (int s : sampling) {
    if (s == 420) g.blockW = std::max(g.blockW, 2), g.blockH = 2;
    if (s == 411) g.blockW = 4;
    if (s == 1620) g.blockW = 4, g.blockH = 4;
  }

  // Parameters.
  std::string params = l.params;
  if (params.size() < 2 || params.front() != '(' || params.back() != ')')
    return fail("parameters");
  params = params.substr(1, params.size() - 2);
  static const std::regex kArray(
      R"(^(const )?(Kel\w+)\s*\*\s*const (\w+)\[(\d)\]$)");
  static const std::regex kPtr(R"(^(const )?(Kel\w+)\s*\*\s*(\w+)$)");
  static const std::regex kStepArray(R"(^const int (\w+)\[(\d)\]$)");
  static const std::regex kInt(R"(^int (\w+)$)");
  static const std::regex kScalar(R"(^(Kel\w+|int) (\w+)$)");
  static const std::regex kMatrix(
      R"(^const (Kel32f|Kel64f) (\w+)\[(\d)\](?:\[(\d)\])?$)");
  int planeOfSide[2] = {0, 0};
  bool afterRoi = false;
  std::vector<size_t> lastPlanes;  // the planes the next step belongs to
  size_t start = 0;
  while (start <= params.size()) {
    size_t end = params.find(',', start);
    if (end == std::string::npos) end = params.size();
    std::string p = params.substr(start, end - start);
    p = std::regex_replace(p, std::regex(R"(^\s+|\s+$)"), "");
    p = std::regex_replace(p, std::regex(R"(\s+)"), " ");
    start = end + 1;
    std::smatch pm;
    if (p.find("KelImageSize") == 0) {
      afterRoi = true;
    } else if (afterRoi && std::regex_match(p, pm, kMatrix)) {
      // A matrix, or a vector of weights (which may be null: the defaults).
      const int count =
          std::stoi(pm[3]) * (pm[4].matched ? std::stoi(pm[4]) : 1);
      g.matrices.push_back({count, pm[1] == "Kel64f", !pm[4].matched});
    } else if (afterRoi && std::regex_match(p, pm, kScalar)) {
      Scalar s{pm[2], {}, {}, kelOk};
      bool found = false;
      for (const Extra& e : kExtras)
        if (g.name == e.exportName && s.name == e.scalar.name)
          s = e.scalar, found = true;
      if (!found && pm[1] == "Kel8u") s.valid = {0, 255, 77, 128};
      if (!found && pm[1] == "Kel16u") s.valid = {0, 65535, 1000};
      if (!found && pm[1] == "Kel32f") s.valid = {0, 1, 7};
      if (s.valid.empty()) return fail("scalar " + p);
      g.scalars.push_back(s);
    } else if (std::regex_match(p, pm, kArray) ||
               std::regex_match(p, pm, kPtr)) {
      const bool array = pm.size() == 5 && pm[4].matched;
      const int side = g.inPlace ? 1 : pm[1].matched ? 0 : 1;
      const int bytes = ElemBytes(pm[2]);
      if (bytes == 0) return fail("type " + p);
      const int n = array ? std::stoi(pm[4]) : 1;
      lastPlanes.clear();
      for (int i = 0; i < n; ++i) {
        PlaneShape s{};
        s.side = side;
        s.param = array ? g.arrayCount : g.ptrCount;
        s.index = i;
        s.inArray = array;
        s.stepParam = -1;
        s.stepArray = -1;
        s.elemBytes = bytes;
        s.layout = sides[side];
        s.sampling = sampling[side];
        s.plane = planeOfSide[side]++;
        lastPlanes.push_back(g.planes.size());
        g.planes.push_back(s);
      }
      (array ? g.arrayCount : g.ptrCount)++;
    } else if (std::regex_match(p, pm, kStepArray)) {
      for (size_t k : lastPlanes) g.planes[k].stepArray = g.stepArrayCount;
      g.stepArrayCount++;
    } else if (std::regex_match(p, pm, kInt)) {
      for (size_t k : lastPlanes) g.planes[k].stepParam = g.stepCount;
      g.stepCount++;
    } else {
      return fail("parameter " + p);
    }
  }
  for (int side = 0; side < 2; ++side) {
    if (g.inPlace && side == 0) continue;
    if (planeOfSide[side] != PlanesOf(sides[side]))
      return fail("planes of side " + std::to_string(side));
  }
  for (const PlaneShape& s : g.planes)
    if (s.stepParam < 0 && s.stepArray < 0) return fail("a plane has no step");
  for (const WholeBlocks& b : kWholeBlocks)
    if (g.name == b.exportName) g.wholeW = b.w, g.wholeH = b.h;
  g.ok = true;
  return g;
}

}  // namespace

size_t PlaneShape::RowBytes(KelImageSize roi) const {
  const int w = roi.width;
  int chromaW = w;
  if (sampling == 422 || sampling == 420) chromaW = Ceil(w, 2);
  if (sampling == 411 || sampling == 1620) chromaW = Ceil(w, 4);
  size_t units = 0;
  switch (layout) {
    case kC1:
      units = w;
      break;
    case kC2:
      units = 4 * static_cast<size_t>(Ceil(w, 2));
      break;
    case kC3:
      units = 3 * static_cast<size_t>(w);
      break;
    case kC4:
    case kAC4:
      units = 4 * static_cast<size_t>(w);
      break;
    case kP2:
      units = plane == 0 ? w : 2 * static_cast<size_t>(chromaW);
      break;
    default:
      units = (plane == 1 || plane == 2) ? chromaW : w;
      break;
  }
  return units * static_cast<size_t>(elemBytes);
}

int PlaneShape::Rows(KelImageSize roi) const {
  const int h = roi.height;
  const bool chroma = (layout == kP2 && plane == 1) ||
                      ((layout == kP3 || layout == kP4 || layout == kAP4) &&
                       (plane == 1 || plane == 2));
  if (!chroma) return h;
  if (sampling == 420) return Ceil(h, 2);
  if (sampling == 1620) return Ceil(h, 4);
  return h;
}

const std::vector<Geometry>& AllGeometry() {
  static const std::vector<Geometry> all = [] {
    std::vector<Geometry> v;
    int slot = 0;
    for (const Listed& l : kListed) v.push_back(Parse(l, slot++));
    return v;
  }();
  return all;
}

}  // namespace kel::harness
