#include <windows.h>

#include <algorithm>

extern "C" {

BOOL WINAPI IsRectEmpty(const RECT* rect) {
    return !rect || rect->right <= rect->left || rect->bottom <= rect->top;
}

BOOL WINAPI PtInRect(const RECT* rect, POINT point) {
    return rect && point.x >= rect->left && point.x < rect->right && point.y >= rect->top &&
           point.y < rect->bottom;
}

BOOL WINAPI OffsetRect(RECT* rect, int x, int y) {
    if (!rect) return FALSE;
    rect->left += x;
    rect->right += x;
    rect->top += y;
    rect->bottom += y;
    return TRUE;
}

BOOL WINAPI IntersectRect(RECT* result, const RECT* first, const RECT* second) {
    if (!result || !first || !second) return FALSE;
    const RECT common{std::max(first->left, second->left), std::max(first->top, second->top),
                      std::min(first->right, second->right),
                      std::min(first->bottom, second->bottom)};
    const bool meet = !IsRectEmpty(first) && !IsRectEmpty(second) && !IsRectEmpty(&common);
    *result = meet ? common : RECT{};
    return meet ? TRUE : FALSE;
}

BOOL WINAPI UnionRect(RECT* result, const RECT* first, const RECT* second) {
    if (!result || !first || !second) return FALSE;
    RECT both{};
    if (IsRectEmpty(first)) {
        if (!IsRectEmpty(second)) both = *second;
    } else if (IsRectEmpty(second)) {
        both = *first;
    } else {
        both = {std::min(first->left, second->left), std::min(first->top, second->top),
                std::max(first->right, second->right), std::max(first->bottom, second->bottom)};
    }
    *result = both;
    return !IsRectEmpty(result);
}

int WINAPI MulDiv(int number, int numerator, int denominator) {
    if (denominator == 0) return -1;
    const LONGLONG product = LONGLONG{number} * numerator;
    const LONGLONG half = denominator / 2;
    const bool negative = (product < 0) != (denominator < 0);
    const LONGLONG quotient = (negative ? product - half : product + half) / denominator;
    return quotient < INT32_MIN || quotient > INT32_MAX ? -1 : static_cast<int>(quotient);
}

}  // extern "C"
