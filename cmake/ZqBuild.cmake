# The rules that every target of this tree is built by, and the functions that
# declare one.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

find_program(ZQ_CCACHE ccache)
if(ZQ_CCACHE)
  # Paths relative to the tree: what one clone compiled, another need not.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${ZQ_CCACHE})
endif()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED)
pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET dbus-1)
pkg_check_modules(NSPR REQUIRED IMPORTED_TARGET nspr)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(GIO IMPORTED_TARGET gio-2.0)

add_library(zq-options INTERFACE)
target_compile_options(zq-options INTERFACE -Wall -Wextra -Wpedantic -Werror)
if(ZQ_SANITIZE)
  target_compile_options(zq-options INTERFACE -fsanitize=${ZQ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zq-options INTERFACE -fsanitize=${ZQ_SANITIZE})
endif()
if(ZQ_FUZZ)
  # Coverage goes where LLVM_PROFILE_FILE says, and nowhere without.
  target_compile_options(zq-options INTERFACE -fsanitize=fuzzer-no-link -fprofile-instr-generate=/dev/null -fcoverage-mapping)
  target_link_options(zq-options INTERFACE -fprofile-instr-generate=/dev/null)
endif()

# zq_room(NAME SOURCES file... LINKS target... [INCLUDE dir...])
#
# One room of the house. What is in its link list is what it may include.
function(zq_room NAME)
  cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS;INCLUDE" ${ARGN})
  add_library(${NAME} OBJECT ${ROOM_SOURCES})
  target_link_libraries(${NAME} PRIVATE zq-options PUBLIC ${ROOM_LINKS})
  target_compile_definitions(${NAME} PRIVATE ZQ_LIBRARY)
  if(ROOM_INCLUDE)
    target_include_directories(${NAME} PUBLIC ${ROOM_INCLUDE})
  endif()
endfunction()

# zq_headers(NAME DIR LINKS target...)
#
# A folder of public headers, with what they themselves include.
function(zq_headers NAME DIR)
  cmake_parse_arguments(HEADERS "" "" "LINKS" ${ARGN})
  add_library(${NAME} INTERFACE)
  target_include_directories(${NAME} INTERFACE $<BUILD_INTERFACE:${DIR}>)
  target_link_libraries(${NAME} INTERFACE ${HEADERS_LINKS})
endfunction()

# zq_program(NAME SOURCES file... LINKS target...)
function(zq_program NAME)
  cmake_parse_arguments(PROGRAM "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${NAME} ${PROGRAM_SOURCES})
  target_link_libraries(${NAME} PRIVATE zq-options ${PROGRAM_LINKS})
endfunction()
