# What is installed, by component (runtime, development, tool), and what other
# builds find it by: a CMake package and a file for pkg-config, both of which
# work wherever the tree is put.

include(CMakePackageConfigHelpers)

set(FOLDERS networkmanager connman wpanctl utilities connectivity)
set(INCLUDES ${FOLDERS} networkmanager/vocabulary platform)
set(HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/zqnetworkmanager)

add_library(zq::platform ALIAS zqplatform)
add_library(zq::networkmanager ALIAS zqnetworkmanager)
set_target_properties(zqplatform PROPERTIES EXPORT_NAME platform)
set_target_properties(zqnetworkmanager PROPERTIES EXPORT_NAME networkmanager)
target_compile_features(zqplatform INTERFACE cxx_std_17)
foreach(FOLDER IN LISTS INCLUDES)
  target_include_directories(zqplatform INTERFACE $<INSTALL_INTERFACE:${HEADERS}/${FOLDER}>)
endforeach()

install(TARGETS zqplatform zqnetworkmanager EXPORT zqnetworkmanager
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)

list(TRANSFORM FOLDERS PREPEND include/)
install(DIRECTORY ${FOLDERS} DESTINATION ${HEADERS} COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.def")
install(DIRECTORY platform/corefoundation/include/ platform/core/include/ platform/dbus/include/
  DESTINATION ${HEADERS}/platform COMPONENT development)

set(PACKAGE ${CMAKE_INSTALL_LIBDIR}/cmake/zqnetworkmanager)
install(EXPORT zqnetworkmanager NAMESPACE zq:: FILE zqnetworkmanagerTargets.cmake
  DESTINATION ${PACKAGE} COMPONENT development)
configure_package_config_file(cmake/zqnetworkmanagerConfig.cmake.in zqnetworkmanagerConfig.cmake
  INSTALL_DESTINATION ${PACKAGE} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(zqnetworkmanagerConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zqnetworkmanagerConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/zqnetworkmanagerConfigVersion.cmake
  DESTINATION ${PACKAGE} COMPONENT development)

file(RELATIVE_PATH TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
list(TRANSFORM INCLUDES PREPEND "-I\${includedir}/" OUTPUT_VARIABLE CFLAGS)
list(JOIN CFLAGS " " CFLAGS)
configure_file(cmake/zqnetworkmanager.pc.in zqnetworkmanager.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zqnetworkmanager.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(ZQ_BUILD_TOOLS)
  file(RELATIVE_PATH TO_LIBRARIES ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(zqnetctl PROPERTIES INSTALL_RPATH $ORIGIN/${TO_LIBRARIES})
  install(TARGETS zqnetctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
endif()
