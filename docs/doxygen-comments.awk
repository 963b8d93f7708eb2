# Turns a header's plain comments into documentation comments: those that start a line, and those after a member. Rulers
# ("/* --- ... --- */") stay as they are. A backslash in a comment is a literal one.
/^ *(\/?\*)/ { gsub(/\\/, "\\\\&") }
NR == 1 && /^\/\*/ { print "/** @file"; sub(/^\/\*/, " *"); print; next }
/\/\*[*!]/ || /\/\* -+/ { print; next }
/^ *\/\*/ { sub(/\/\*/, "/**"); print; next }
/[;,{A-Za-z0-9)] *\/\* .*\*\/ *$/ { sub(/\/\*/, "/**<"); print; next }
/[;,] +\/\/ / { sub(/\/\/ /, "///< ") }
{ print }
