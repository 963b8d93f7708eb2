# Makes documentation comments of a header's plain comments: those that start a line, and those behind a member. Rulers
# ("/* --- ... --- */") stay what they are. A backslash in a comment is meant as one.
/^ *(\/?\*)/ { gsub(/\\/, "\\\\&") }
NR == 1 && /^\/\*/ { print "/** @file"; sub(/^\/\*/, " *"); print; next }
/\/\*[*!]/ || /\/\* -+/ { print; next }
/^ *\/\*/ { sub(/\/\*/, "/**"); print; next }
/[;,{A-Za-z0-9)] *\/\* .*\*\/ *$/ { sub(/\/\*/, "/**<"); print; next }
/[;,] +\/\/ / { sub(/\/\/ /, "///< ") }
{ print }
