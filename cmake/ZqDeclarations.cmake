# The test "declarations": what the classes of all headers declare, private ones
# included, is defined. One source includes the headers; its flags are GCC's.

if(NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  return()
endif()

file(GLOB HEADERS CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/platform/*/include/*.h ${PROJECT_SOURCE_DIR}/platform/*/src/*.h
  ${PROJECT_SOURCE_DIR}/include/*/*.h ${PROJECT_SOURCE_DIR}/include/*/*/*.h ${PROJECT_SOURCE_DIR}/src/*/*.h)
list(TRANSFORM HEADERS REPLACE "(.+)" "#include \"\\1\"\n")
list(JOIN HEADERS "" HEADERS)
file(CONFIGURE OUTPUT declarations.cpp CONTENT "${HEADERS}")

add_library(zq-declarations OBJECT ${CMAKE_CURRENT_BINARY_DIR}/declarations.cpp)
target_link_libraries(zq-declarations PRIVATE zq-headers-public zq-headers-shared PkgConfig::GLIB)
target_compile_options(zq-declarations PRIVATE
  -O0 -g2 -fkeep-inline-functions -fno-eliminate-unused-debug-types -femit-class-debug-always)

add_test(NAME declarations COMMAND ${PROJECT_SOURCE_DIR}/cmake/declarations
  $<TARGET_OBJECTS:zq-declarations> $<TARGET_FILE:zqplatform> $<TARGET_FILE:zqnetworkmanager>)
