// Input of the stub generator (cmake/export_stubs.cmake) for targets that
// have no assembly stubs: the preprocessor turns the export list into one
// marked entry per export, name then parameter list.
#include "kelcc.h"

#define KEL_LIST_ENTRY_(name, params) KEL_STUB_ENTRY name params KEL_STUB_END
KELCC_EXPORTS(KEL_LIST_ENTRY_)
