// A fixed-size byte area with a position that its user moves.
#ifndef TARVO_PLATFORM_BUFFER_H
#define TARVO_PLATFORM_BUFFER_H

// Owns the block it holds, which is always from new[]; releases it in Recreate, Destroy, Consign and when
// another buffer is copied into it, but not in the destructor. Operations return 0, or 1 with a report.
// One thread at a time. Nothing checks the position or an index against the length.
class CBuffer {
public:
    CBuffer() = default;
    CBuffer(unsigned char* memory, unsigned int length); // takes the block over
    CBuffer(const CBuffer& other);                       // a copy of the block, position 0
    CBuffer& operator=(const CBuffer& other);            // assigning a buffer to itself changes nothing
    virtual ~CBuffer() = default;

    int Initialize();                  // forgets the block without releasing it
    int Create(unsigned int length);   // of an empty buffer: a block with unspecified content
    int Recreate(unsigned int length); // releases the block, then as Create
    int Destroy();
    int Consign(unsigned char* memory, unsigned int length); // takes another block over

    int Clone(CBuffer* target) const;                          // copies this block into the target
    int Clone(const CBuffer* source, CBuffer* target) const;   // copies between two others
    int Copy(const unsigned char* data, unsigned int count);   // to the start of the block
    int Paste(unsigned char* destination, unsigned int count); // from the start of the block

    // 0 when the address lies in the block or one past its end.
    int CheckValid(const unsigned char* address) const;

    int AddPosition(unsigned int count);
    int ResetPosition();
    unsigned int Position() const { return m_position; }
    unsigned int Length() const { return m_length; }
    operator unsigned int() const { return m_length; } // NOLINT(google-explicit-constructor)
    unsigned char* Buffer() const { return m_memory; }
    operator unsigned char*() const { return m_memory; } // NOLINT(google-explicit-constructor)
    bool BufferNull() const { return m_memory == nullptr; }
    unsigned char operator[](int index) const { return m_memory[index]; }

    // True when both hold blocks of equal length and bytes; two empty buffers are not equal.
    bool operator==(const CBuffer& other) const { return Compare(other); }
    bool Compare(const CBuffer& other) const;

private:
    unsigned char* m_memory = nullptr;
    unsigned int m_length = 0;
    unsigned int m_position = 0;
};

#endif
