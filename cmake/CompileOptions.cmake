# Options of every target, and of the library's own sources.

option(KXCMS_WERROR "Treat warnings as errors" OFF)
set(KXCMS_SANITIZE "" CACHE STRING "Sanitizers for all targets, e.g. address,undefined or thread")

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow)
if(KXCMS_WERROR)
  add_compile_options(-Werror)
endif()
if(KXCMS_SANITIZE)
  add_compile_options(-fsanitize=${KXCMS_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KXCMS_SANITIZE})
  if(KXCMS_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

# Doubles are the same with every compiler: no contraction, and no call of the maths library that
# one compiler folds or rewrites and another does not. No machine paths, in debug information either.
function(kxcms_library_options target)
  target_compile_options(${target} PRIVATE
    $<$<CXX_COMPILER_ID:GNU>:-Wconversion>
    -ffp-contract=off
    -fno-builtin-pow -fno-builtin-exp10 -fno-builtin-sin -fno-builtin-cos -fno-builtin-atan2
    -fno-builtin-log10
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    INTERPROCEDURAL_OPTIMIZATION OFF)
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()
