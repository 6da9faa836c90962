# Installs the library, moves the installed tree away, and builds and runs the consumer against it: once through
# find_package, once through pkg-config. With the linkage "parent" the library is a folder of a larger project, which is
# installed and run.
#   cmake -D LINKAGE=shared|static|parent -D SOURCE_DIR=.. -D BINARY_DIR=.. -D WORK_DIR=.. -D GENERATOR=.. -D CXX=..
#         -D PKG_CONFIG=.. -D LIBDIR=.. [-D TOOLCHAIN=..] [-D TRIPLET=..] [-D EMULATOR=..] [-D CXX_FLAGS=..] -P check.cmake
cmake_minimum_required(VERSION 3.18)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE lResult)
    if(NOT lResult EQUAL 0)
        string(REPLACE ";" " " lCommand "${ARGN}")
        message(FATAL_ERROR "failed (${lResult}): ${lCommand}")
    endif()
endfunction()

set(lToolchain -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
if(TOOLCHAIN)
    set(lToolchain -G ${GENERATOR} -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DUTL_TRIPLET=${TRIPLET})
endif()

if(LINKAGE STREQUAL "parent")
    file(REMOVE_RECURSE ${WORK_DIR}/installed ${WORK_DIR}/moved)
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer/parent -B ${WORK_DIR}/build ${lToolchain}
        -DCMAKE_BUILD_TYPE=Debug -DUTL_FOLDER=${SOURCE_DIR})
    run(${CMAKE_COMMAND} --build ${WORK_DIR}/build --parallel 2)
    run(${CMAKE_COMMAND} --install ${WORK_DIR}/build --prefix ${WORK_DIR}/installed)
    file(RENAME ${WORK_DIR}/installed ${WORK_DIR}/moved)
    file(RENAME ${WORK_DIR}/build ${WORK_DIR}/hidden) # what was installed is enough
    execute_process(COMMAND ${WORK_DIR}/moved/bin/consumer RESULT_VARIABLE lResult)
    file(RENAME ${WORK_DIR}/hidden ${WORK_DIR}/build)
    if(NOT lResult EQUAL 0)
        message(FATAL_ERROR "the installed program of the larger project gave ${lResult}")
    endif()
    return()
endif()

# The tree of the other linkage is built here; a second run finds it up to date.
if(LINKAGE STREQUAL "static")
    set(BINARY_DIR ${WORK_DIR}/library)
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${BINARY_DIR} ${lToolchain} -DCMAKE_BUILD_TYPE=Debug
        -DBUILD_SHARED_LIBS=OFF -DUTL_BUILD_EXAMPLES=OFF)
    run(${CMAKE_COMMAND} --build ${BINARY_DIR} --target utl --parallel 2)
endif()

set(lFirst ${WORK_DIR}/installed)
set(lMoved ${WORK_DIR}/moved)
file(REMOVE_RECURSE ${lFirst} ${lMoved} ${WORK_DIR}/package)
run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${lFirst})
file(RENAME ${lFirst} ${lMoved})

file(GLOB_RECURSE lTexts ${lMoved}/*.cmake ${lMoved}/*.pc)
foreach(lText ${lTexts})
    file(READ ${lText} lContent)
    foreach(lPath ${WORK_DIR} ${SOURCE_DIR})
        string(FIND "${lContent}" "${lPath}" lPosition)
        if(NOT lPosition EQUAL -1)
            message(FATAL_ERROR "${lText} names ${lPath}: the installed tree cannot be moved")
        endif()
    endforeach()
endforeach()

message(STATUS "through find_package")
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${WORK_DIR}/package ${lToolchain} -DCMAKE_BUILD_TYPE=Debug
    -Dutl_DIR=${lMoved}/${LIBDIR}/cmake/utl)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/package)
run(${EMULATOR} ${WORK_DIR}/package/consumer)

message(STATUS "through pkg-config")
set(ENV{PKG_CONFIG_LIBDIR} ${lMoved}/${LIBDIR}/pkgconfig)
set(lStatic)
if(LINKAGE STREQUAL "static")
    set(lStatic --static)
endif()
execute_process(COMMAND ${PKG_CONFIG} ${lStatic} --cflags --libs utl
                OUTPUT_VARIABLE lFlags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE lResult)
if(NOT lResult EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know utl")
endif()
separate_arguments(lFlags UNIX_COMMAND "${lFlags}")
separate_arguments(CXX_FLAGS UNIX_COMMAND "${CXX_FLAGS}")
run(${CXX} -std=c++17 ${CXX_FLAGS} ${SOURCE_DIR}/tests/consumer/main.cpp
    ${SOURCE_DIR}/tests/consumer/platform.cpp ${lFlags} -o ${WORK_DIR}/consumer)
set(ENV{LD_LIBRARY_PATH} ${lMoved}/${LIBDIR})
run(${EMULATOR} ${WORK_DIR}/consumer)
