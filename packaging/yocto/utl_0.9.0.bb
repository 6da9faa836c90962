SUMMARY = "Common runtime for one long-running application"
DESCRIPTION = "Message-driven threads with bounded queues and timers, a registry of threads with a software watchdog, \
an application log, fixed-block pools, files of Japanese text, character conversion, calendar time and bit streams."
HOMEPAGE = "https://utl.invalid/"
# No licence has been chosen yet, see the file LICENSE.
LICENSE = "CLOSED"

# The sources as an archive beside this recipe: git archive --prefix=utl-0.9.0/ -o utl-0.9.0.tar.gz HEAD
SRC_URI = "file://${BP}.tar.gz"

inherit cmake pkgconfig

EXTRA_OECMAKE = "-DUTL_BUILD_EXAMPLES=OFF -DBUILD_SHARED_LIBS=ON"

# libutl.so.1 goes to utl; headers, CMake package and pkg-config file to utl-dev.
BBCLASSEXTEND = "native nativesdk"
