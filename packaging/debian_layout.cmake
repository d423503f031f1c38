# SPDX-License-Identifier: Apache-2.0
# Run by CPack between installing a component's files and packing them: Debian's places and its documents.
function(jorn_compress file)
  execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(jorn_lay_out root package)
  set(doc ${root}/share/doc/${package})
  if(EXISTS ${root}/share/doc/jorn AND NOT package STREQUAL jorn)
    file(RENAME ${root}/share/doc/jorn ${doc})
  endif()
  file(COPY ${CPACK_JORN_PACKAGING_FOLDER}/copyright ${CPACK_JORN_PACKAGING_FOLDER}/changelog
    DESTINATION ${doc} FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  jorn_compress(${doc}/changelog)
  file(GLOB pages ${root}/share/man/man*/*.[0-9])
  foreach(page ${pages})
    jorn_compress(${page})
  endforeach()
  # Debian's zsh does not look where others do.
  if(EXISTS ${root}/share/zsh/site-functions)
    file(RENAME ${root}/share/zsh/site-functions ${root}/share/zsh/vendor-completions)
  endif()
  # Whoever packs may keep new folders from others.
  execute_process(COMMAND find ${root} -type d -exec chmod 0755 {} + COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} name)
  jorn_lay_out(${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}
    ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
endforeach()
