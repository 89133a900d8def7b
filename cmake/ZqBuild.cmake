# The rules that every target of this tree is built by, and the functions that
# declare one.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(ZQ_CCACHE ccache)
if(ZQ_CCACHE)
  # Paths relative to the tree: what one clone compiled, another need not.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${ZQ_CCACHE})
endif()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED GLOBAL)
find_package(Boost 1.74 REQUIRED GLOBAL)
pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET GLOBAL dbus-1)
pkg_check_modules(NSPR REQUIRED IMPORTED_TARGET GLOBAL nspr)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0)
pkg_check_modules(GIO IMPORTED_TARGET gio-2.0)

add_library(zq-options INTERFACE)
target_compile_options(zq-options INTERFACE -Wall -Wextra -Wpedantic $<$<BOOL:${ZQ_WERROR}>:-Werror>)
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

# zq_library(NAME EXPORTS map ROOMS target... LINKS target...)
#
# A shared library made of rooms. The map holds back what the compiler would
# export besides: instances of other libraries' templates.
function(zq_library NAME)
  cmake_parse_arguments(LIBRARY "" "EXPORTS" "ROOMS;LINKS" ${ARGN})
  set(MAP ${CMAKE_CURRENT_SOURCE_DIR}/${LIBRARY_EXPORTS})
  add_library(${NAME} SHARED)
  target_link_libraries(${NAME} PRIVATE zq-options ${LIBRARY_ROOMS} PUBLIC ${LIBRARY_LINKS})
  target_link_options(${NAME} PRIVATE -Wl,--version-script=${MAP} -Wl,--no-undefined-version)
  set_target_properties(${NAME} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS ${MAP} INSTALL_RPATH $ORIGIN)
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
