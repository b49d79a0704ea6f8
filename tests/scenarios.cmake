# The stand-in agent: a test for each scenario in examples/ and scenarios/, which must print what
# stands in the .expected file beside it.
function(add_scenario name scenario expected)
  add_test(NAME Scenario.${name}
           COMMAND ${CMAKE_COMMAND} -DAGENT=$<TARGET_FILE:macsecproxy-agent>
                   -DSCENARIO=${scenario} -DEXPECTED=${expected} "-DFIRST=${ARGN}"
                   -DACTUAL=${CMAKE_CURRENT_BINARY_DIR}/${name}.actual
                   -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/compare.cmake)
endfunction()

file(GLOB scenarios CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.scn
                                      ${CMAKE_CURRENT_LIST_DIR}/scenarios/*.scn)
foreach(scenario ${scenarios})
  cmake_path(GET scenario PARENT_PATH folder)
  cmake_path(GET folder FILENAME kind)
  cmake_path(GET scenario STEM name)
  add_scenario(${kind}.${name} ${scenario} ${folder}/${name}.expected)
  # Those in scenarios/ come out the same in both orders of delivery, but for what is traced.
  if(kind STREQUAL "scenarios")
    set(expected ${folder}/${name}.reverse.expected)
    if(NOT EXISTS ${expected})
      set(expected ${folder}/${name}.expected)
    endif()
    add_scenario(${kind}.${name}.reverse ${scenario} ${expected} "order reverse")
  endif()
endforeach()
