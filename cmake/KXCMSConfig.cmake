# find_package(KXCMS): the imported targets KXCMS::KXCMS and KXCMS::Pipeline.
include("${CMAKE_CURRENT_LIST_DIR}/KXCMSTargets.cmake")

# The class headers are C++17; a project in C alone has no such feature to ask for.
get_property(_kxcms_languages GLOBAL PROPERTY ENABLED_LANGUAGES)
if("CXX" IN_LIST _kxcms_languages)
  set_property(TARGET KXCMS::KXCMS APPEND PROPERTY INTERFACE_COMPILE_FEATURES cxx_std_17)
endif()
unset(_kxcms_languages)
