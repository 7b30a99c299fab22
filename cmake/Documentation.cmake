# `docs`: the reference documentation, made from the public headers (Install.cmake, to be included
# before, lists them) into docs/html of the build folder. Any warning of Doxygen fails it;
# `docs.doxygen` is the same as a test.

find_program(KXCMS_DOXYGEN doxygen)
mark_as_advanced(KXCMS_DOXYGEN)
if(NOT KXCMS_DOXYGEN)
  message(STATUS "Reference documentation left out: doxygen not found")
  return()
endif()

set(KXCMS_DOCS_DIR ${CMAKE_CURRENT_BINARY_DIR}/docs)
file(REMOVE_RECURSE ${KXCMS_DOCS_DIR}/include)
file(MAKE_DIRECTORY ${KXCMS_DOCS_DIR}/include/kxcms)
foreach(header IN LISTS public_headers)
  cmake_path(GET header PARENT_PATH room)
  file(MAKE_DIRECTORY ${KXCMS_DOCS_DIR}/include/kxcms/${room})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header}
    ${KXCMS_DOCS_DIR}/include/kxcms/${header} SYMBOLIC)
endforeach()
foreach(header interface/kxcms.h api/pipeline.h api/pipeline.hpp)
  cmake_path(GET header FILENAME name)
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${KXCMS_DOCS_DIR}/include/kxcms/${name}
    SYMBOLIC)
endforeach()
configure_file(docs/Doxyfile.in ${KXCMS_DOCS_DIR}/Doxyfile @ONLY)

add_custom_target(docs
  COMMAND ${KXCMS_DOXYGEN} ${KXCMS_DOCS_DIR}/Doxyfile
  COMMENT "Reference documentation: ${KXCMS_DOCS_DIR}/html/index.html"
  VERBATIM)
add_test(NAME docs.doxygen COMMAND ${KXCMS_DOXYGEN} ${KXCMS_DOCS_DIR}/Doxyfile)
add_test(NAME docs.reference COMMAND python3 -B
  ${CMAKE_CURRENT_SOURCE_DIR}/tests/docs/reference_test.py ${KXCMS_DOCS_DIR}/Doxyfile)
set_tests_properties(docs.doxygen docs.reference PROPERTIES TIMEOUT 300)
