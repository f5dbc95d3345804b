# Which parts are built besides the library: those that are asked for, and those whose packages are there.
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
# A library for machines that lack its packages, as the Python package's wheel has it.
option(VELMAR_SELF_CONTAINED "Link what is not of the C library statically" OFF)
if(VELMAR_SELF_CONTAINED)
  enable_language(C) # for what stands in for others
  list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/self-contained)
  # What nobody calls of those would need a newer C library.
  add_link_options(-static-libstdc++ -static-libgcc LINKER:--gc-sections)
endif()

# Sets VELMAR_WITH_<part> from VELMAR_BUILD_<part>: ON needs every package, AUTO says which ones are missing. The
# packages are triples of the name for find_package, the target that has to come with it, and its name in Debian.
function(velmar_decide part default)
  string(TOLOWER ${part} what)
  set(VELMAR_BUILD_${part} ${default} CACHE STRING "Build the ${what}: ON, OFF, or AUTO (when its packages are there)")
  set(wanted ${VELMAR_BUILD_${part}})
  set(missing "")
  while(wanted AND ARGN)
    list(POP_FRONT ARGN package target debian)
    find_package(${package} QUIET)
    if(NOT TARGET ${target})
      list(APPEND missing ${debian})
    endif()
  endwhile()
  list(JOIN missing ", " missing)
  if(missing AND NOT wanted STREQUAL "AUTO")
    message(FATAL_ERROR "VELMAR_BUILD_${part}=${wanted} needs what is missing here (Debian's names): ${missing}")
  elseif(missing)
    message(STATUS "The ${what} will not be built, these packages are missing (Debian's names): ${missing}")
    set(wanted OFF)
  endif()
  set(VELMAR_WITH_${part} ${wanted} PARENT_SCOPE)
endfunction()

velmar_decide(TOOL AUTO
  CLI11 CLI11::CLI11 libcli11-dev
  fmt fmt::fmt libfmt-dev
  assimp assimp::assimp libassimp-dev
  nlohmann_json nlohmann_json::nlohmann_json nlohmann-json3-dev
  PCAP PCAP::pcap libpcap-dev)
# The page that velmar view serves, and what serves it.
velmar_decide(VIEW AUTO
  Boost Boost::headers libboost-dev
  Npm Npm::npm npm)
if(VELMAR_WITH_VIEW AND NOT VELMAR_WITH_TOOL)
  if(NOT VELMAR_BUILD_VIEW STREQUAL "AUTO")
    message(FATAL_ERROR "VELMAR_BUILD_VIEW=${VELMAR_BUILD_VIEW} needs the tool")
  endif()
  set(VELMAR_WITH_VIEW OFF)
endif()
# The Python package: the tool's reader of recordings, beside the shared library.
velmar_decide(PYTHON AUTO)
if(VELMAR_WITH_PYTHON AND (NOT VELMAR_WITH_TOOL OR (DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)))
  if(NOT VELMAR_BUILD_PYTHON STREQUAL "AUTO")
    message(FATAL_ERROR "VELMAR_BUILD_PYTHON=${VELMAR_BUILD_PYTHON} needs the tool and the shared library")
  endif()
  set(VELMAR_WITH_PYTHON OFF)
endif()
# Without the tool, those that do not need it.
velmar_decide(TESTS AUTO
  GTest GTest::gtest_main libgtest-dev
  GTest GTest::gmock libgmock-dev)
velmar_decide(BENCH OFF
  benchmark benchmark::benchmark libbenchmark-dev)
if(VELMAR_WITH_BENCH AND NOT VELMAR_WITH_TOOL)
  message(FATAL_ERROR "VELMAR_BUILD_BENCH=${VELMAR_BUILD_BENCH} needs the tool")
endif()
