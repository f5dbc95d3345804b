# What every target of the project is compiled with, when it is built for itself.
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion
                    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
                    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wthread-safety>
                    # Assertions show paths inside the project, not where it was built.
                    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
# gcc 12 sees overlaps in the concatenation of strings that are none.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(VELMAR_WERROR)
  add_compile_options(-Werror)
endif()

if(VELMAR_SANITIZE)
  # With the checks in between, gcc mistakes values that are set for ones that may not be.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_compile_options(-fsanitize=${VELMAR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VELMAR_SANITIZE})
endif()

if(VELMAR_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

# Builds for daily work are quick: files are compiled together, with the headers of others read once before. What is
# shipped and what the lint reads is compiled file by file, with what each file includes.
if(NOT CMAKE_UNITY_BUILD)
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()
# For tests and for the command line, of which a debugger has to show the lines only: less to write, to link and to load.
set(lines_only $<$<CONFIG:Debug,RelWithDebInfo>:-g1>)
