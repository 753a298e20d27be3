# Writes OUTPUT: every name-like text literal of the sources under SOURCE_DIR
# that read the stores (all but the ground floor and the host), one C++ string
# literal a line. The store target draws its keys from this list, so a key a
# new metric reads is fuzzed without anyone listing it. It holds more than
# keys (format patterns, localised words); those only make keys no one reads.
file(GLOB_RECURSE sources "${SOURCE_DIR}/*.cpp" "${SOURCE_DIR}/*.h")
list(FILTER sources EXCLUDE REGEX "/src/(values|store|text|drawing|host)/")
set(names "")
foreach(source IN LISTS sources)
  file(READ "${source}" text)
  string(REGEX MATCHALL "\"[A-Za-z][A-Za-z0-9_%-]*\"" found "${text}")
  list(APPEND names ${found})
endforeach()
list(REMOVE_DUPLICATES names)
list(SORT names)
list(JOIN names ",\n" body)
file(WRITE "${OUTPUT}.new" "${body}\n")
# Rewritten only when it changes, so that an edit elsewhere rebuilds nothing here.
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.new")
