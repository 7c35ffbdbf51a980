#include <orvane/ssl.h> /* where this header is now */
