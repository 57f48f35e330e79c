# Debian's packages hold manual pages and change logs compressed, without the time at which that was done.
file(GLOB_RECURSE pages
    ${CPACK_TEMPORARY_DIRECTORY}/usr/share/man/*.[1-8]
    ${CPACK_TEMPORARY_DIRECTORY}/usr/share/doc/penmark/changelog)
foreach(page IN LISTS pages)
    execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
