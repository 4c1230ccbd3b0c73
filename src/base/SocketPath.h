// The file of a Unix socket that is about to be bound.
#pragma once

#include <stdexcept>
#include <string>

namespace Base {

// A socket that cannot be created; the text names it and the remedy.
class SocketError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

// Removes the socket file of an ended program, so that a Unix socket of that type can be bound. Raises
// SocketError for a socket in use and for any other file, std::system_error without a descriptor to find out.
// `key` is the configuration key of the path.
void clearSocketPath(std::string const & path, int type, std::string const & key);

}  // namespace Base
