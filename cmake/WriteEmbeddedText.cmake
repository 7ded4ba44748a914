# Writes MADE, in which the text of FILE is the constant NAME.
file(READ ${FILE} text)
file(SHA256 ${FILE} digest)
string(FIND "${text}" ")~cali~\"" delimiter)
string(REGEX MATCH "</script|</style|<!--" markup "${text}")
if(NOT delimiter EQUAL -1 OR NOT markup STREQUAL "")
  message(FATAL_ERROR "${FILE}: cannot stand in a page: it has ${markup}")
endif()
file(WRITE ${MADE} "#include \"outputs/web_page.h\"

namespace cali::host {

const EmbeddedText ${NAME}{R\"~cali~(${text})~cali~\", \"${digest}\"};

}  // namespace cali::host
")
