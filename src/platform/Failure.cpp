#include "Failure.h"

#include <cerrno>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

namespace platform {

namespace {

std::int32_t NumberOfError(int error) {
    switch (error) {
    case ENOENT:
        return FILE_NOT_FOUND;
    case ENOTDIR:
        return PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
        return PERMISSION_DENIED;
    case EISDIR:
        return PATH_ACCESS_ERROR;
    case ENOSPC:
    case EDQUOT:
        return DISK_FULL;
    default:
        return DEVICE_IO_ERROR;
    }
}

} // namespace

void Raise(std::int32_t number, std::string description, std::string source) {
    throw Failure(number, std::move(description), std::move(source));
}

Failure CurrentFailure() {
    try {
        throw;
    } catch (const Failure& failure) {
        return failure;
    } catch (const std::bad_alloc&) {
        return {OUT_OF_MEMORY, "Out of memory"};
    } catch (const std::length_error&) {
        return {OUT_OF_MEMORY, "Out of memory"};
    } catch (const std::out_of_range&) {
        return {INDEX_OUT_OF_RANGE, "Subscript out of range"};
    } catch (const std::system_error& error) {
        return {NumberOfError(error.code().value()), error.what()};
    } catch (const std::exception& error) {
        return {INVALID_CALL, error.what()};
    } catch (...) {
        return {INVALID_CALL, "Invalid procedure call or argument"};
    }
}

} // namespace platform
