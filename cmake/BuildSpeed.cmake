# What keeps a clean build of the whole tree short on a small machine. Most of
# its time goes into compiling the same large headers (GoogleTest, the JSON and
# command-line libraries, the standard library) and generating the same inline
# code once per file; the rest into linking a dozen programs with debug
# information.

# Unity builds: a target's sources are compiled a few at a time, each batch as
# one unit, so a header is read and its inline functions generated once per
# batch rather than once per file. Files of one target therefore share their
# anonymous namespaces: helpers there are named for what they do, and one that
# two files need lives in a header of its own. -DVELMORA_UNITY_BUILD=OFF
# compiles file by file (for a quick rebuild of one file while editing it).
option(VELMORA_UNITY_BUILD "Compile each target's sources in batches (unity build)" ON)
set(CMAKE_UNITY_BUILD ${VELMORA_UNITY_BUILD})
set(CMAKE_UNITY_BUILD_BATCH_SIZE 8)
if(VELMORA_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # g++ warns of a class with a member of an anonymous namespace's type when
  # the class is defined outside the file being compiled, as in a header that
  # two files would read differently. In a batch every source is outside the
  # file being compiled (the batch), so a .cpp file's private implementation
  # (a pimpl holding its file's own types) would be taken for such a header.
  target_compile_options(velmora_options INTERFACE -Wno-subobject-linkage)
endif()

# LLVM's linker links the programs several times faster than the GNU linker
# (Debian package lld, installed by scripts/setup); the GNU linker is the
# fallback where it is missing.
include(CheckLinkerFlag)
check_linker_flag(CXX -fuse-ld=lld VELMORA_HAVE_LLD)
if(VELMORA_HAVE_LLD)
  target_link_options(velmora_options INTERFACE -fuse-ld=lld)
else()
  message(STATUS "lld not found: linking with the default linker (scripts/setup installs lld)")
endif()
