# What the libraries that are installed have in common.

# irbmc_apart(SOURCES...): with CMAKE_UNITY_BUILD, these are compiled by themselves: each has a helper
# of the same name as one of its neighbours.
function(irbmc_apart)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# irbmc_hidden(TARGET): its objects show nothing but what is marked RIX_EXPORT.
function(irbmc_hidden target)
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# irbmc_named(TARGET): the library's three names: lib.so for the linker, lib.so.0 for programs that
# were linked, and the file itself, which tells its version. The 0 counts up when a program built
# against an older one would break.
function(irbmc_named target)
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0)
endfunction()

# irbmc_shared(TARGET MAP): a library which shows of the marked names those that its map lists.
function(irbmc_shared target map)
  irbmc_named(${target})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN"
    LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${map})
  target_link_options(${target} PRIVATE
    LINKER:--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${map})
  if(NOT IRBMC_SANITIZE)  # clang keeps a sanitizer's runtime in the program, not in its libraries
    target_link_options(${target} PRIVATE LINKER:--no-undefined)
  endif()
endfunction()

# irbmc_pkg_config(TARGET DESCRIPTION REQUIRED...): pkg-config knows the library by its target's
# name. The file finds its folder by itself, wherever it was installed.
function(irbmc_pkg_config target description)
  file(RELATIVE_PATH prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(JOIN ", " required ${ARGN})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${target}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
