// The destructor lives here so that the interface's type information has one home in the library.
#include "isecurejsonobjectstorage.h"

ISecureJsonObjectStorage::~ISecureJsonObjectStorage() = default;
