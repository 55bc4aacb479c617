// What is thrown where an object breaks a rule of COM, so that no result could tell it.
#pragma once

#include <windows.h>

#include <exception>

namespace Vimbrel {

class ComError final : public std::exception {
public:
    explicit ComError(HRESULT result) : result_(result) {}

    HRESULT Error() const { return result_; }
    const char* what() const noexcept override { return "an interface cannot be asked for"; }

private:
    const HRESULT result_;
};

}  // namespace Vimbrel
