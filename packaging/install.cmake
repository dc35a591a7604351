# Install rules. The installed program folder is lib/tembrix under the prefix and mirrors build/bin: the
# programs find id3-tags-cli, content/ and the style sheet beside their real executable, and bin/ holds
# relative symbolic links to them (the kernel reports the link's target as the running executable, so the
# programs still find their folder when started through the links).
#
# Made at build time: the PNG icons (rsvg-convert) and the man page of tembrix-cli (help2man, from its
# --help and --version). When either tool is missing the build says so and installs the rest.

set(TEMBRIX_INSTALL_PROGRAM_DIR lib/tembrix)
set(TEMBRIX_APP_ID org.example.tembrix)
set(TEMBRIX_PACKAGING_DIR ${PROJECT_SOURCE_DIR}/packaging)
set(TEMBRIX_PACKAGING_OUT ${PROJECT_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${TEMBRIX_PACKAGING_OUT}/bin)

# Directories 0755 whatever the umask, as a Debian package needs them.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# --- the program folder -------------------------------------------------------------------------------
set(TEMBRIX_INSTALLED_PROGRAMS tembrix-cli id3-tags-cli)
if(TARGET tembrix)
    list(PREPEND TEMBRIX_INSTALLED_PROGRAMS tembrix)
endif()
install(TARGETS ${TEMBRIX_INSTALLED_PROGRAMS} RUNTIME DESTINATION ${TEMBRIX_INSTALL_PROGRAM_DIR})
install(TARGETS id3-tags-cli RUNTIME DESTINATION ${TEMBRIX_INSTALL_PROGRAM_DIR}/id3-tags)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/content/ DESTINATION ${TEMBRIX_INSTALL_PROGRAM_DIR}/content
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
if(TARGET tembrix)
    # The style sheet is also built into the program; the copy beside it can be edited without a build.
    install(FILES ${PROJECT_SOURCE_DIR}/src/forms/style/smokey_quartz_kamri.qss
        DESTINATION ${TEMBRIX_INSTALL_PROGRAM_DIR} RENAME "Smokey Quartz Kamri.qss")
endif()

# bin/: relative links made in the build tree and installed as links.
foreach(program IN LISTS TEMBRIX_INSTALLED_PROGRAMS)
    if(program STREQUAL "id3-tags-cli")
        continue()
    endif()
    file(CREATE_LINK ../${TEMBRIX_INSTALL_PROGRAM_DIR}/${program} ${TEMBRIX_PACKAGING_OUT}/bin/${program} SYMBOLIC)
    install(FILES ${TEMBRIX_PACKAGING_OUT}/bin/${program} DESTINATION bin)
endforeach()

# --- menu entry, metainfo, icons ------------------------------------------------------------------------
configure_file(${TEMBRIX_PACKAGING_DIR}/${TEMBRIX_APP_ID}.metainfo.xml.in
    ${TEMBRIX_PACKAGING_OUT}/${TEMBRIX_APP_ID}.metainfo.xml @ONLY)
if(TARGET tembrix)
    install(FILES ${TEMBRIX_PACKAGING_DIR}/${TEMBRIX_APP_ID}.desktop DESTINATION share/applications)
    install(FILES ${TEMBRIX_PACKAGING_OUT}/${TEMBRIX_APP_ID}.metainfo.xml DESTINATION share/metainfo)
    install(FILES ${TEMBRIX_PACKAGING_DIR}/${TEMBRIX_APP_ID}.svg DESTINATION share/icons/hicolor/scalable/apps)

    find_program(TEMBRIX_RSVG_CONVERT rsvg-convert)
    if(TEMBRIX_RSVG_CONVERT)
        set(icons)
        foreach(size 16 24 32 48 64 128 256)
            set(png ${TEMBRIX_PACKAGING_OUT}/icons/${size}x${size}/${TEMBRIX_APP_ID}.png)
            add_custom_command(OUTPUT ${png}
                COMMAND ${CMAKE_COMMAND} -E make_directory ${TEMBRIX_PACKAGING_OUT}/icons/${size}x${size}
                COMMAND ${TEMBRIX_RSVG_CONVERT} -w ${size} -h ${size} -o ${png}
                    ${TEMBRIX_PACKAGING_DIR}/${TEMBRIX_APP_ID}.svg
                DEPENDS ${TEMBRIX_PACKAGING_DIR}/${TEMBRIX_APP_ID}.svg
                COMMENT "Rendering the ${size}x${size} icon")
            list(APPEND icons ${png})
            install(FILES ${png} DESTINATION share/icons/hicolor/${size}x${size}/apps)
        endforeach()
        add_custom_target(tembrix_icons ALL DEPENDS ${icons})
    else()
        message(WARNING "rsvg-convert not found (package librsvg2-bin): only the scalable icon is installed")
    endif()
endif()

# --- man pages ------------------------------------------------------------------------------------------
# tembrix.1 is written by hand; tembrix-cli.1 comes from the program's own --help. Both are installed
# compressed, as Debian wants them.
find_program(TEMBRIX_HELP2MAN help2man)
find_program(TEMBRIX_GZIP gzip)
if(TEMBRIX_GZIP)
    set(pages)
    if(TARGET tembrix)
        add_custom_command(OUTPUT ${TEMBRIX_PACKAGING_OUT}/tembrix.1.gz
            COMMAND ${TEMBRIX_GZIP} -9 -n -c ${TEMBRIX_PACKAGING_DIR}/tembrix.1 > ${TEMBRIX_PACKAGING_OUT}/tembrix.1.gz
            DEPENDS ${TEMBRIX_PACKAGING_DIR}/tembrix.1)
        list(APPEND pages ${TEMBRIX_PACKAGING_OUT}/tembrix.1.gz)
    endif()
    # A sanitizer build is never packaged; its tembrix-cli is not run during the build.
    if(TEMBRIX_HELP2MAN AND NOT TEMBRIX_SANITIZE)
        set(man ${TEMBRIX_PACKAGING_OUT}/tembrix-cli.1)
        add_custom_command(OUTPUT ${man}.gz
            COMMAND ${TEMBRIX_HELP2MAN} --no-info --no-discard-stderr --section=1
                "--name=catalogue audio fingerprints from the command line"
                --include=${TEMBRIX_PACKAGING_DIR}/tembrix-cli.h2m --output=${man} $<TARGET_FILE:tembrix-cli>
            COMMAND ${TEMBRIX_GZIP} -9 -n -f ${man}
            DEPENDS tembrix-cli ${TEMBRIX_PACKAGING_DIR}/tembrix-cli.h2m
            COMMENT "Writing the man page of tembrix-cli")
        list(APPEND pages ${man}.gz)
    elseif(NOT TEMBRIX_HELP2MAN)
        message(WARNING "help2man not found (package help2man): the man page of tembrix-cli is not made")
    endif()
    if(pages)
        add_custom_target(tembrix_man ALL DEPENDS ${pages})
        install(FILES ${pages} DESTINATION share/man/man1)
    endif()
else()
    message(WARNING "gzip not found: no man pages are installed")
endif()

# --- package documents ----------------------------------------------------------------------------------
configure_file(${TEMBRIX_PACKAGING_DIR}/changelog.in ${TEMBRIX_PACKAGING_OUT}/changelog @ONLY)
if(TEMBRIX_GZIP)
    add_custom_command(OUTPUT ${TEMBRIX_PACKAGING_OUT}/changelog.gz
        COMMAND ${TEMBRIX_GZIP} -9 -n -c ${TEMBRIX_PACKAGING_OUT}/changelog > ${TEMBRIX_PACKAGING_OUT}/changelog.gz
        DEPENDS ${TEMBRIX_PACKAGING_OUT}/changelog)
    add_custom_target(tembrix_changelog ALL DEPENDS ${TEMBRIX_PACKAGING_OUT}/changelog.gz)
    install(FILES ${TEMBRIX_PACKAGING_OUT}/changelog.gz DESTINATION share/doc/tembrix)
endif()
install(FILES ${TEMBRIX_PACKAGING_DIR}/copyright DESTINATION share/doc/tembrix)
