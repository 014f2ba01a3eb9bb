// Asio is compiled here, once; every other file sees declarations only.
#include <boost/asio/impl/src.hpp>
