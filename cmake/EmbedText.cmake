# embed_text(TARGET NAME FILE): makes the text of FILE the constant `NAME` of outputs/web_page.h, with the digest that a
# page's policy names it by.
function(embed_text target name file)
  set(made ${CMAKE_CURRENT_BINARY_DIR}/embedded/${name}.cpp)
  set(script ${PROJECT_SOURCE_DIR}/cmake/WriteEmbeddedText.cmake)
  add_custom_command(OUTPUT ${made}
    COMMAND ${CMAKE_COMMAND} -DNAME=${name} -DFILE=${file} -DMADE=${made} -P ${script}
    DEPENDS ${file} ${script}
    VERBATIM)
  target_sources(${target} PRIVATE ${made})
  # Longer than the standard asks compilers to take; all of ours do.
  set_source_files_properties(${made} PROPERTIES
    SKIP_UNITY_BUILD_INCLUSION ON SKIP_PRECOMPILE_HEADERS ON COMPILE_OPTIONS -Wno-overlength-strings)
endfunction()

# fetch_charts(RESULT): the chart library's file, from the npm registry into a cache, held against its digest; empty where
# it cannot be had, and then reports have no charts and say so.
function(fetch_charts result)
  set(${result} "" PARENT_SCOPE)
  if(NOT CALI_WITH_CHARTS)
    return()
  endif()
  set(lock_folder ${CMAKE_CURRENT_SOURCE_DIR}/outputs/web)
  set(wanted b66b25aeb4df84e33199dc21694014d336d222cbd9deb0e5a7c14bd6aa0d0fd0)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${lock_folder}/package-lock.json)
  if(DEFINED ENV{CALI_CACHE})
    set(cache $ENV{CALI_CACHE})
  elseif(DEFINED ENV{HOME})
    set(cache $ENV{HOME}/.cache/cali)
  else()
    set(cache ${PROJECT_BINARY_DIR}/cache)
  endif()
  file(SHA256 ${lock_folder}/package-lock.json version)
  string(SUBSTRING ${version} 0 12 version)
  set(folder ${cache}/charts/${version})
  set(file ${folder}/node_modules/echarts/dist/echarts.min.js)
  if(NOT EXISTS ${file})
    find_program(NPM npm)
    if(NPM)
      # Beside and renamed: two builds may fetch at once, and one may be stopped.
      string(RANDOM LENGTH 8 mark)
      file(COPY ${lock_folder}/package.json ${lock_folder}/package-lock.json ${lock_folder}/.npmrc
        DESTINATION ${folder}.${mark})
      execute_process(COMMAND ${NPM} ci --ignore-scripts --no-audit --no-fund --loglevel=error
        WORKING_DIRECTORY ${folder}.${mark} RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE problem)
      if(status EQUAL 0)
        file(RENAME ${folder}.${mark} ${folder} RESULT renamed)
      endif()
      file(REMOVE_RECURSE ${folder}.${mark})
    else()
      set(problem "there is no npm")
    endif()
  endif()
  if(EXISTS ${file})
    file(SHA256 ${file} found)
    if(NOT found STREQUAL wanted)
      message(FATAL_ERROR "${file} has the digest ${found}, expected ${wanted}: remove ${folder}")
    endif()
    set(${result} ${file} PARENT_SCOPE)
  else()
    message(WARNING "reports will have no charts: ECharts could not be fetched: ${problem}")
  endif()
endfunction()
