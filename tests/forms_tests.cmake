# Window tests: a QApplication on the offscreen platform; message boxes are scripted through
# RecordingMessages, never by hunting for modal windows.
file(GLOB TEMBRIX_FORMS_TESTS CONFIGURE_DEPENDS forms/*.cpp forms/*.h)
if(TEMBRIX_FORMS_TESTS)
    add_executable(tests_forms ${TEMBRIX_FORMS_TESTS} main/gui_test_main.cpp)
    target_link_libraries(tests_forms PRIVATE tembrix_test_support tembrix_gui Qt6::Test)
    set_target_properties(tests_forms PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    gtest_discover_tests(tests_forms DISCOVERY_TIMEOUT 60 PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen" LABELS window)
endif()
