#pragma once

// Double array with an element count; a new array owns no storage.
class QVR_doubleArray {
public:
    QVR_doubleArray() = default;
    QVR_doubleArray(const QVR_doubleArray& other);
    QVR_doubleArray& operator=(const QVR_doubleArray& other);
    ~QVR_doubleArray() { CleanUp(); }

    // Afterwards the element count is n; contents are not kept.
    void SetSize(int n);
    // Afterwards the array is the `n` entries at `storage`, which stay the
    // caller's: they must outlive the array and are never freed by it. A copy
    // of the array owns its entries.
    void Borrow(double* storage, int n);
    void CleanUp();

    double& Subscript(int i) const { return data[i]; }
    double& operator[](int i) const { return data[i]; }

    double* data = nullptr;
    int numElements = 0;

private:
    bool borrowed = false;
};
