#pragma once

#include <stdexcept>
#include <string>

// The failures of the whole system. They live in the global namespace, are
// thrown by value and caught by reference. Texts are short lower-case English.

// A failed system call on a file, socket, pipe or lock. what() appends the
// error number and the system's text: "can't connect (errno 111: Connection refused)".
class IOException : public std::runtime_error {
 public:
  IOException(const std::string& message, int errorNumber);

  const char* what() const noexcept override;
  int GetErrorNumber() const { return errorNumber; }

 private:
  int errorNumber;
  // Built by the first what() and kept, so that later calls return the same text.
  mutable bool formatted = false;
  mutable std::string text;
};

// An operation called in the wrong state.
class InvalidOperationException : public std::logic_error {
 public:
  explicit InvalidOperationException(const std::string& message) : std::logic_error(message) {}
};

// Text or bytes from outside that don't follow their grammar.
class ParseException : public std::runtime_error {
 public:
  explicit ParseException(const std::string& message) : std::runtime_error(message) {}
};

// A lookup in a server message tree that finds nothing.
class NotFoundException : public std::logic_error {
 public:
  explicit NotFoundException(const std::string& message) : std::logic_error(message) {}
};

// A server message that can't be written.
class SerializeException : public std::runtime_error {
 public:
  explicit SerializeException(const std::string& message) : std::runtime_error(message) {}
};
