# Writes the C++ export stubs of targets without assembly stubs: one
# function per entry of the export list that calls through the export's
# slot with its own arguments.
#   -DLIST=<preprocessed src/frame/export_list.in.h> -DOUT=<stubs .cpp>
file(READ ${LIST} text)
string(REGEX MATCHALL "KEL_STUB_ENTRY [A-Za-z0-9_]+ *\\([^)]*\\) *KEL_STUB_END"
       entries "${text}")
set(body "")
foreach(entry IN LISTS entries)
  string(REGEX REPLACE "KEL_STUB_ENTRY ([A-Za-z0-9_]+) *\\(([^)]*)\\) *KEL_STUB_END"
         "\\1" name "${entry}")
  string(REGEX REPLACE "KEL_STUB_ENTRY ([A-Za-z0-9_]+) *\\(([^)]*)\\) *KEL_STUB_END"
         "\\2" params "${entry}")
  string(REPLACE "," ";" plist "${params}")
  set(args "")
  foreach(p IN LISTS plist)
    string(REGEX REPLACE "\\[[^]]*\\]" "" p "${p}")
    string(STRIP "${p}" p)
    string(REGEX MATCH "[A-Za-z_][A-Za-z0-9_]*$" arg "${p}")
    list(APPEND args ${arg})
  endforeach()
  list(JOIN args ", " args)
  string(APPEND body
    "__attribute__((visibility(\"default\"))) KelResult ${name}(${params}) {\n"
    "  return reinterpret_cast<decltype(&${name})>(\n"
    "      kel_slot_table[kel::frame::kSlot_${name}])(${args});\n"
    "}\n")
endforeach()
list(LENGTH entries count)
file(WRITE ${OUT}.tmp
  "// Generated from the export list by cmake/export_stubs.cmake.\n"
  "#include \"frame/dispatch.h\"\n\n"
  "extern \"C\" {\n"
  "extern kel::frame::ExportFn kel_slot_table[kel::frame::kExportCount];\n\n"
  "${body}"
  "}  // extern \"C\"\n")
file(COPY_FILE ${OUT}.tmp ${OUT} ONLY_IF_DIFFERENT)
message(STATUS "${count} export stubs")
