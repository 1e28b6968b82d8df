# Language, visibility, warnings, sanitizers, compiler cache: the same for every target.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

find_program(CCACHE ccache)
if(CCACHE)
  # Precompiled headers carry time stamps; without this sloppiness the cache never hits. The base folder lets
  # several checkouts share one cache.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE})
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
  add_link_options(-fuse-ld=lld)
endif()

if(VELA_SANITIZE)
  add_compile_options(-fsanitize=${VELA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VELA_SANITIZE})
  if(VELA_SANITIZE MATCHES address)
    # eSNACC and ACE are built without run-time type information for our purposes.
    add_compile_options(-fno-sanitize=vptr)
  endif()
endif()
if(VELA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Warnings stay private to our own targets: a user's flags are his.
function(vela_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wno-unused-parameter)
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    target_compile_options(${target} PRIVATE -Wthread-safety)
  endif()
  if(VELA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
