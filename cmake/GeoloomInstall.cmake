# Installation for applications; the rules for the programs and the model are beside their targets. Installed files find each
# other by relative paths, so an installed tree may be moved.
include(CMakePackageConfigHelpers)

# Headers for applications; the headers that they include are installed too.
set(GEOLOOM_PUBLIC_HEADERS
  geoloom/geoloom.h
  geoloom/recording/ARRecording.h
  geoloom/platform/device/UIDevice.h
  geoloom/platform/imaging/CIContext.h
  geoloom/platform/imaging/PNG.h
  geoloom/platform/imaging/UIImage.h
  geoloom/platform/imaging/VideoToolbox.h
  geoloom/platform/imaging/vImage.h
  geoloom/platform/network/HTTPClient.h
  geoloom/platform/scene/SCNNode.h
  geoloom/platform/scene/SCNNodeSnapshot.h
  geoloom/platform/scene/SCNScene.h
  geoloom/platform/ui/UIScreen.h
  geoloom/platform/vision/MLModel.h
  geoloom/platform/vision/VNRequest.h)

# geoloom_included_headers(RESULT header...): the headers and all project headers that they include
function(geoloom_included_headers result)
  set(found)
  set(waiting ${ARGN})
  while(waiting)
    list(POP_FRONT waiting header)
    list(APPEND found ${header})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${header})
    file(STRINGS ${PROJECT_SOURCE_DIR}/${header} includes REGEX "^#include \"geoloom/")
    list(TRANSFORM includes REPLACE "^#include \"([^\"]+)\".*" "\\1")
    list(APPEND waiting ${includes})
    list(REMOVE_DUPLICATES waiting)
    list(REMOVE_ITEM waiting ${found})
  endwhile()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

geoloom_included_headers(headers ${GEOLOOM_PUBLIC_HEADERS})
list(JOIN headers "\n" lines)
file(WRITE ${PROJECT_BINARY_DIR}/generated/installed_headers.txt "${lines}\n")  # for tests/library/exports
foreach(header ${headers})
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

install(TARGETS geoloom EXPORT Geoloom
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})

if(GEOLOOM_HAS_OBJC)
  install(TARGETS geoloom-objc EXPORT Geoloom
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY objc/GeoloomObjC DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN *.h PATTERN Private.h EXCLUDE)
  install(DIRECTORY objc/blocks DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/GeoloomObjC)
endif()

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/Geoloom)
install(EXPORT Geoloom NAMESPACE Geoloom:: FILE GeoloomTargets.cmake DESTINATION ${package})
configure_package_config_file(cmake/GeoloomConfig.cmake.in ${PROJECT_BINARY_DIR}/generated/GeoloomConfig.cmake
  INSTALL_DESTINATION ${package})
# Before 1.0 every minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/generated/GeoloomConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/generated/GeoloomConfig.cmake
              ${PROJECT_BINARY_DIR}/generated/GeoloomConfigVersion.cmake DESTINATION ${package})

file(RELATIVE_PATH GEOLOOM_PREFIX_FROM_PKGCONFIG /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
set(pkgconfig_files geoloom.pc)
if(GEOLOOM_HAS_OBJC)
  list(APPEND pkgconfig_files geoloom-objc.pc)
  list(JOIN GEOLOOM_OBJC_FLAGS " " GEOLOOM_OBJC_FLAGS_TEXT)
endif()
foreach(file ${pkgconfig_files})
  configure_file(cmake/${file}.in ${PROJECT_BINARY_DIR}/generated/${file} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/generated/${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
