# The stand-in agent: a test for each scenario in examples/, which must print what stands in the
# .expected file beside it, and the agent's own tests.
file(GLOB scenarios CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.scn)
foreach(scenario ${scenarios})
  cmake_path(GET scenario STEM name)
  cmake_path(REPLACE_EXTENSION scenario expected OUTPUT_VARIABLE expected)
  add_test(NAME Scenario.${name}
           COMMAND ${CMAKE_COMMAND} -DAGENT=$<TARGET_FILE:macsecproxy-agent>
                   -DSCENARIO=${scenario} -DEXPECTED=${expected}
                   -DACTUAL=${CMAKE_CURRENT_BINARY_DIR}/${name}.actual
                   -P ${CMAKE_CURRENT_LIST_DIR}/compare.cmake)
endforeach()

find_package(nlohmann_json REQUIRED)
add_executable(agent-test AgentTest.cpp)
target_link_libraries(agent-test PRIVATE GTest::gtest_main nlohmann_json::nlohmann_json)
target_compile_definitions(agent-test PRIVATE AGENT="$<TARGET_FILE:macsecproxy-agent>"
                                              PLATFORM="$<TARGET_FILE:AgentPlatform>"
                                              EXAMPLES="${PROJECT_SOURCE_DIR}/examples"
                                              REFUSALS="${CMAKE_CURRENT_LIST_DIR}/refusals.txt")
add_dependencies(agent-test macsecproxy-agent)
gtest_discover_tests(agent-test)
