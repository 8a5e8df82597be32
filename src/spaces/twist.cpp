// The colour-twist exports: each is one entry frame with its sample type
// and layout fixed.
#include "spaces/twist.h"

#include "frame/dispatch.h"

namespace kel::spaces {

// <type>: C3, C3 in place, AC4, AC4 in place, P3, P3 in place.
#define KEL_TWIST_SET_(T, prefix)                      \
  template <class Isa>                                 \
  constexpr auto& prefix##_C3R = TwistC<Isa, T, 3>;    \
  template <class Isa>                                 \
  constexpr auto& prefix##_C3IR = TwistCI<Isa, T, 3>;  \
  template <class Isa>                                 \
  constexpr auto& prefix##_AC4R = TwistC<Isa, T, 4>;   \
  template <class Isa>                                 \
  constexpr auto& prefix##_AC4IR = TwistCI<Isa, T, 4>; \
  template <class Isa>                                 \
  constexpr auto& prefix##_P3R = TwistP3<Isa, T>;      \
  template <class Isa>                                 \
  constexpr auto& prefix##_IP3R = TwistIP3<Isa, T>;
KEL_TWIST_SET_(uint8_t, ColorTwist32f_8u)
KEL_TWIST_SET_(uint16_t, ColorTwist32f_16u)
KEL_TWIST_SET_(int16_t, ColorTwist32f_16s)
KEL_TWIST_SET_(float, ColorTwist_32f)
#undef KEL_TWIST_SET_
template <class Isa>
constexpr auto& ColorTwist_32f_C4R = TwistC<Isa, float, 4, 4>;

}  // namespace kel::spaces

#define KEL_TWIST_(name) KEL_IMPLEMENT(keli##name, kel::spaces::name)
#define KEL_TWIST_SET_(prefix) \
  KEL_TWIST_(prefix##_C3R)     \
  KEL_TWIST_(prefix##_C3IR)    \
  KEL_TWIST_(prefix##_AC4R)    \
  KEL_TWIST_(prefix##_AC4IR)   \
  KEL_TWIST_(prefix##_P3R)     \
  KEL_TWIST_(prefix##_IP3R)
KEL_TWIST_SET_(ColorTwist32f_8u)
KEL_TWIST_SET_(ColorTwist32f_16u)
KEL_TWIST_SET_(ColorTwist32f_16s)
KEL_TWIST_SET_(ColorTwist_32f)
KEL_TWIST_(ColorTwist_32f_C4R)
