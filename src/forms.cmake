# tembrix_gui: the windows (Qt Widgets, Charts, Multimedia) over the core; tembrix: the desktop program.
file(GLOB TEMBRIX_GUI_SOURCES CONFIGURE_DEPENDS forms/*.cpp forms/*.h)
qt_add_resources(TEMBRIX_GUI_RESOURCES forms/forms.qrc)
add_library(tembrix_gui STATIC ${TEMBRIX_GUI_SOURCES} ${TEMBRIX_GUI_RESOURCES})
target_link_libraries(tembrix_gui PUBLIC tembrix_core Qt6::Concurrent Qt6::Widgets Qt6::Charts Qt6::Multimedia
    Qt6::MultimediaWidgets)
if(TARGET Qt6::DBus)
    target_link_libraries(tembrix_gui PUBLIC Qt6::DBus)
    target_compile_definitions(tembrix_gui PRIVATE TEMBRIX_HAVE_DBUS)
endif()

add_executable(tembrix gui/main.cpp)
target_link_libraries(tembrix PRIVATE tembrix_gui)

# A tool for the build, not installed: opens every window over a demo database and saves PNGs.
file(GLOB TEMBRIX_SCREENSHOT_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/screenshots/*.cpp)
if(TEMBRIX_SCREENSHOT_SOURCES)
    add_executable(tembrix-screenshots ${TEMBRIX_SCREENSHOT_SOURCES})
    target_link_libraries(tembrix-screenshots PRIVATE tembrix_gui)
endif()

# The program folder: content (help pictures and clips) and the style sheet beside the executables.
if(EXISTS ${PROJECT_SOURCE_DIR}/content)
    add_custom_target(tembrix_content ALL
        COMMAND ${CMAKE_COMMAND} -E copy_directory ${PROJECT_SOURCE_DIR}/content ${TEMBRIX_BIN_DIR}/content)
endif()
