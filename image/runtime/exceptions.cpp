// The exceptions that the standard library's templates throw. The library's own classes for them would add two complete
// classes of texts, 50 KB, for their messages; nothing here asks an exception for its message.
#include <exception>
#include <new>

namespace
{

class MisusedTemplate : public std::exception
{
public:
    explicit MisusedTemplate(const char* what) : m_szWhat(what) {}
    const char* what() const noexcept override { return m_szWhat; }

private:
    const char* m_szWhat;
};

} // namespace

namespace std
{

void __throw_bad_alloc()
{
    throw bad_alloc();
}

void __throw_bad_array_new_length()
{
    throw bad_array_new_length();
}

void __throw_length_error(const char* what)
{
    throw MisusedTemplate(what);
}

void __throw_logic_error(const char* what)
{
    throw MisusedTemplate(what);
}

// The format itself is the message.
void __throw_out_of_range_fmt(const char* format, ...)
{
    throw MisusedTemplate(format);
}

} // namespace std
