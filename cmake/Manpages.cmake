# Manual pages are written in scdoc's plain-text format (docs/man/*.scd) and
# turned into roff at build time, so that the source stays readable in a
# review and the pages can't drift into hand-edited roff.
find_program(SCDOC scdoc)
if(NOT SCDOC)
  message(FATAL_ERROR "scdoc not found: install it (scripts/deps) or configure with -DVELARND_MANPAGES=OFF")
endif()
add_custom_target(manpages ALL)

# velarnd_add_manpage(<docs/man/NAME.SECTION.scd>)
# Builds NAME.SECTION into the build folder's man/ and installs it into the
# manual's section folder.
function(velarnd_add_manpage source)
  get_filename_component(page ${source} NAME_WLE)
  string(REGEX REPLACE "^.*\\.([0-9])$" "\\1" section ${page})
  set(output ${PROJECT_BINARY_DIR}/man/${page})
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/man
    COMMAND sh -c "\"$1\" < \"$2\" > \"$3\"" scdoc ${SCDOC} ${PROJECT_SOURCE_DIR}/${source} ${output}
    DEPENDS ${PROJECT_SOURCE_DIR}/${source}
    COMMENT "Manual page ${page}"
    VERBATIM)
  add_custom_target(manpage_${page} DEPENDS ${output})
  add_dependencies(manpages manpage_${page})
  install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT runtime)
endfunction()
