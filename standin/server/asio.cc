// Asio's own functions, compiled once.

#include <asio/impl/src.hpp>
