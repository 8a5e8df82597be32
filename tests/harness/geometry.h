// The geometry of every export, for the robustness harness.
//
// Nothing here is written per export. The export list gives each export's
// name and parameter list; from the parameter list come the planes (a
// pointer, or an array of plane pointers), their side (const: source),
// sample type, step parameters, the region and the extra scalars, and from
// the name come the layouts (`_8u_C3P3R`: C3 in, P3 out; `I`: in place) and
// the chroma sampling of each side (`RGBToYCbCr420`: 4:4:4 in, 4:2:0 out).
// Together they give the bytes and rows of every plane for any region.
//
// What the name cannot say, a family adds to geometry.cpp: a line in
// kExtras per scalar with its valid and invalid values and what an invalid
// value returns, and a line in kWholeBlocks per member that refuses regions
// that are not whole blocks. An export whose parameters or name the parser does
// not understand gets no geometry, and the harness fails on it, so a new
// export cannot skip the harness.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kelcc.h"

namespace kel::harness {

// Everything an export is called with, in parameter order per kind.
struct CallArgs {
  const void* ptrs[8] = {};           // single-plane pointers
  const void* const* arrays[4] = {};  // plane-pointer arrays
  int steps[8] = {};                  // int steps before the region
  const int* stepArrays[4] = {};      // per-plane step arrays
  KelImageSize roi{};
  int64_t scalars[4] = {};       // scalars after the region
  const void* matrices[2] = {};  // float matrices after the region
};

using Invoker = KelResult (*)(const CallArgs&);

// One plane of one side: its extent for a region, in bytes and rows.
struct PlaneShape {
  int side;   // 0 source, 1 destination (in place: 1)
  int param;  // which pointer (ptrs) or array (arrays) carries it
  int index;  // plane index inside the array (0 for a pointer)
  bool inArray;
  int stepParam;  // steps[] index, or -1 with stepArray set
  int stepArray;  // stepArrays[] index, or -1
  int elemBytes;
  // Extent for a region: bytes per row and rows.
  int layout;    // see geometry.cpp
  int sampling;  // 444, 422, 420, 411 or 1620
  int plane;     // plane number within its side
  size_t RowBytes(KelImageSize roi) const;
  int Rows(KelImageSize roi) const;
};

// A scalar argument: the values the sweep uses, and the invalid ones with
// the result they must give (nothing written).
struct Scalar {
  std::string name;
  std::vector<int64_t> valid;
  std::vector<int64_t> invalid;
  KelResult invalidResult = kelOk;
};

struct Geometry {
  std::string name;
  int slot = 0;
  Invoker call = nullptr;
  bool ok = false;  // parsed
  std::string why;  // what the parser did not understand
  std::vector<PlaneShape> planes;
  int ptrCount = 0, arrayCount = 0, stepCount = 0, stepArrayCount = 0;
  std::vector<Scalar> scalars;
  // Matrix and weight arguments after the region: element count, whether
  // double precision, and whether null is allowed (it selects defaults).
  struct MatrixArg {
    int count;
    bool isDouble;
    bool nullAllowed;
  };
  std::vector<MatrixArg> matrices;
  bool inPlace = false;
  int blockW = 1, blockH = 1;  // chroma block of the sampled side
  // Members that take whole blocks only: any other region gives -6.
  int wholeW = 1, wholeH = 1;
};

// The geometry of every export in the list, in slot order.
const std::vector<Geometry>& AllGeometry();

}  // namespace kel::harness
