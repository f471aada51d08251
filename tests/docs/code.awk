# The C++ of a page: everything outside its cpp blocks becomes an empty line, so compilers name the page's own lines.
FNR == 1 { print "#line 1 \"" FILENAME "\"" }
/^```/   { code = /^```cpp$/; print ""; next }
         { print code ? $0 : "" }
