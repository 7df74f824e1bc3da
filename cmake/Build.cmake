# What every target of the build has in common.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

find_program(CCACHE ccache)
mark_as_advanced(CCACHE)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_library(vsdk_warnings INTERFACE)
# g++ 12 at -O3 sees overlaps in std::string's operator+ that cannot be.
target_compile_options(vsdk_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)

# Log lines name the source file that they come from: by its path in the tree, not on the machine that built it.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
# Every column read is a call into the engine's library; without a stub between, it is a jump less.
add_compile_options(-fno-plt)
add_link_options(-Wl,--as-needed)
if(VSDK_SANITIZE)
    add_compile_options(-fsanitize=${VSDK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VSDK_SANITIZE})
else()
    # The sanitizers' run-time may stay undefined until the program is linked; nothing else may.
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>:-Wl,--no-undefined>)
endif()

# Relative to the installed program, so that an install can be moved.
file(RELATIVE_PATH vsdk_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})

# One of the two shared libraries. PUBLIC_HEADERS are relative to the calling folder, their include root.
function(vsdk_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;PUBLIC_HEADERS")
    if(NOT arg_SOURCES) # a tree in the making
        set(arg_SOURCES ${PROJECT_BINARY_DIR}/empty.cpp)
        file(TOUCH ${arg_SOURCES})
    endif()
    add_library(${name} SHARED ${arg_SOURCES})
    add_library(vsdkdb::${name} ALIAS ${name})
    target_sources(${name} PUBLIC
        FILE_SET HEADERS BASE_DIRS ${CMAKE_CURRENT_SOURCE_DIR} FILES ${arg_PUBLIC_HEADERS})
    target_compile_features(${name} INTERFACE cxx_std_17)
    target_link_libraries(${name} PRIVATE vsdk_warnings)
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        INSTALL_RPATH $ORIGIN)
endfunction()
