#include "Failure.h"

#include <cerrno>
#include <new>
#include <stdexcept>
#include <system_error>

namespace platform {

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
    case ENOMEM:
        return OUT_OF_MEMORY;
    default:
        return DEVICE_IO_ERROR;
    }
}

std::string DescriptionOf(std::int32_t number) {
    switch (number) {
    case INVALID_CALL:
        return "Invalid procedure call or argument";
    case OVERFLOW_FAILURE:
        return "Overflow";
    case OUT_OF_MEMORY:
        return "Out of memory";
    case INDEX_OUT_OF_RANGE:
        return "Subscript out of range";
    case TYPE_MISMATCH:
        return "Type mismatch";
    case FILE_NOT_FOUND:
        return "File not found";
    case DEVICE_IO_ERROR:
        return "Device I/O error";
    case DISK_FULL:
        return "Disk full";
    case PERMISSION_DENIED:
        return "Permission denied";
    case PATH_ACCESS_ERROR:
        return "Path/File access error";
    case PATH_NOT_FOUND:
        return "Path not found";
    default:
        return "Application-defined or object-defined error";
    }
}

void Raise(std::int32_t number, std::string description, std::string source) {
    throw Failure(number, std::move(description), std::move(source));
}

Failure CurrentFailure() {
    try {
        throw;
    } catch (const Failure& failure) {
        return failure;
    } catch (const std::bad_alloc&) {
        return {OUT_OF_MEMORY, DescriptionOf(OUT_OF_MEMORY)};
    } catch (const std::length_error&) {
        return {OUT_OF_MEMORY, DescriptionOf(OUT_OF_MEMORY)};
    } catch (const std::out_of_range&) {
        return {INDEX_OUT_OF_RANGE, DescriptionOf(INDEX_OUT_OF_RANGE)};
    } catch (const std::system_error& error) {
        return {NumberOfError(error.code().value()), error.what()};
    } catch (const std::exception& error) {
        return {INVALID_CALL, error.what()};
    } catch (...) {
        return {INVALID_CALL, DescriptionOf(INVALID_CALL)};
    }
}

} // namespace platform
