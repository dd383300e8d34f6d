#include <tki_factory.h>
