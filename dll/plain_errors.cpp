#include <exception>
#include <new>

// What the standard library throws for a text or a container that would grow too large, or for an
// index beyond its end. The library's own errors carry a text with a reference count, and with it a
// second kind of string as large as a tenth of this library; no code here reads that text: every
// entry turns exceptions from its body into its documented failure.
namespace {

class PlainError final : public std::exception {
  public:
    explicit PlainError(const char* text) noexcept : text_(text) {}
    const char* what() const noexcept override { return text_; }

  private:
    const char* text_;
};

}  // namespace

// Defined here, the runtime's own are not linked; these are all that are asked for.
namespace std {

void __throw_bad_alloc() {
    throw bad_alloc();
}

void __throw_bad_array_new_length() {
    throw bad_array_new_length();
}

void __throw_logic_error(const char* text) {
    throw PlainError(text);
}

void __throw_length_error(const char* text) {
    throw PlainError(text);
}

void __throw_out_of_range_fmt(const char* format, ...) {
    throw PlainError(format);
}

}  // namespace std
