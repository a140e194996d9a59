# All libraries that the project uses. docs/dependencies.md has the reason for each.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(CURL 7.88 REQUIRED)
find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto SSL)
find_package(ZLIB REQUIRED)
find_package(fmt REQUIRED)
find_package(simdjson REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(CLI11 REQUIRED)
find_package(SQLite3 REQUIRED)
pkg_check_modules(spng REQUIRED IMPORTED_TARGET spng)
pkg_check_modules(cairo REQUIRED IMPORTED_TARGET cairo)
pkg_check_modules(turbojpeg REQUIRED IMPORTED_TARGET libturbojpeg)
pkg_check_modules(zimg REQUIRED IMPORTED_TARGET zimg)
pkg_check_modules(tinyobjloader REQUIRED IMPORTED_TARGET tinyobjloader)
pkg_check_modules(utf8proc REQUIRED IMPORTED_TARGET libutf8proc)
if(GEOLOOM_GPSD)
  pkg_check_modules(gps REQUIRED IMPORTED_TARGET libgps)
endif()

find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(geoloom_asio INTERFACE)
target_include_directories(geoloom_asio SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
target_compile_definitions(geoloom_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
target_link_libraries(geoloom_asio INTERFACE Threads::Threads)

find_path(YUV_INCLUDE_DIR libyuv.h REQUIRED)
find_library(YUV_LIBRARY yuv REQUIRED)
add_library(geoloom_yuv INTERFACE)
target_include_directories(geoloom_yuv SYSTEM INTERFACE ${YUV_INCLUDE_DIR})
target_link_libraries(geoloom_yuv INTERFACE ${YUV_LIBRARY})

find_path(EMBREE_INCLUDE_DIR embree3/rtcore.h REQUIRED)
find_library(EMBREE_LIBRARY embree3 REQUIRED)
add_library(geoloom_embree INTERFACE)
target_include_directories(geoloom_embree SYSTEM INTERFACE ${EMBREE_INCLUDE_DIR})
target_link_libraries(geoloom_embree INTERFACE ${EMBREE_LIBRARY})

# By hand: Debian has OpenCV's CMake files only in the package of all modules, and we need three of them.
find_path(OPENCV_INCLUDE_DIR opencv2/dnn.hpp PATH_SUFFIXES opencv4 REQUIRED)
add_library(geoloom_opencv INTERFACE)
target_include_directories(geoloom_opencv SYSTEM INTERFACE ${OPENCV_INCLUDE_DIR})
foreach(module core imgproc dnn)
  find_library(OPENCV_${module}_LIBRARY opencv_${module} REQUIRED)
  target_link_libraries(geoloom_opencv INTERFACE ${OPENCV_${module}_LIBRARY})
endforeach()

# Debian's oneDNN runs its loops in GCC's OpenMP, whose number of threads we set for our calls.
find_path(DNNL_INCLUDE_DIR oneapi/dnnl/dnnl.hpp REQUIRED)
find_library(DNNL_LIBRARY dnnl REQUIRED)
add_library(geoloom_dnnl INTERFACE)
target_include_directories(geoloom_dnnl SYSTEM INTERFACE ${DNNL_INCLUDE_DIR})
target_link_libraries(geoloom_dnnl INTERFACE ${DNNL_LIBRARY} gomp)

find_package(Boost 1.74 REQUIRED)  # the headers

find_path(HTTPLIB_INCLUDE_DIR httplib.h REQUIRED)
find_library(HTTPLIB_LIBRARY cpp-httplib REQUIRED)
add_library(geoloom_httplib INTERFACE)
target_include_directories(geoloom_httplib SYSTEM INTERFACE ${HTTPLIB_INCLUDE_DIR})
target_link_libraries(geoloom_httplib INTERFACE ${HTTPLIB_LIBRARY} OpenSSL::SSL OpenSSL::Crypto Threads::Threads)
# Debian builds the library with this definition; without it, the classes of its header have other members.
target_compile_definitions(geoloom_httplib INTERFACE CPPHTTPLIB_OPENSSL_SUPPORT)
