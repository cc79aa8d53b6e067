// The narrow streams of the standard library, which a module of conformance tests shares with the test framework. A
// simulated program makes its own copies of the library's templates, but a stream finds the parts of its locale through
// objects that must exist only once.
#pragma once

#include <locale>
#include <sstream>

extern template class std::num_put<char>;
extern template class std::num_get<char>;
extern template class std::basic_ios<char>;
extern template class std::basic_ostream<char>;
extern template class std::basic_istream<char>;
extern template class std::basic_iostream<char>;
extern template class std::basic_stringbuf<char>;
extern template class std::basic_ostringstream<char>;
extern template class std::basic_stringstream<char>;
