# Run by cpack between staging and packing: what every Debian package has to bring besides its files.

if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()

find_program(gzip gzip REQUIRED)

# -n leaves the time out, so that the same sources make the same package.
function(compress file)
    execute_process(COMMAND "${gzip}" -9 -n -f "${file}" RESULT_VARIABLE result)
    if(result)
        message(FATAL_ERROR "cannot compress ${file}")
    endif()
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER "${component}" upper)
    set(prefix "${CPACK_TEMPORARY_DIRECTORY}/${component}/usr")
    set(doc "${prefix}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
    configure_file("${CMAKE_CURRENT_LIST_DIR}/copyright.txt" "${doc}/copyright" COPYONLY)
    configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog.txt" "${doc}/changelog" COPYONLY)
    compress("${doc}/changelog")
    file(GLOB pages "${prefix}/share/man/man*/*.[0-9]")
    foreach(page IN LISTS pages)
        compress("${page}")
    endforeach()
    file(GLOB_RECURSE staged LIST_DIRECTORIES ON "${CPACK_TEMPORARY_DIRECTORY}/${component}/*")
    foreach(path IN LISTS staged)
        if(IS_DIRECTORY "${path}")
            file(CHMOD "${path}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
                GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
        endif()
    endforeach()
endforeach()
