// Inline part of ZynIconvDescriptorArray: what each conversion does.

inline const ZynIconvDescriptorArray::Entry& ZynIconvDescriptorArray::EntryAt(int index) const {
    ZYN_ASSERT(index >= 0);
    ZYN_ASSERT(index < _size);
    const Block* block = &_first;
    for (; index >= BlockSize; index -= BlockSize)
        block = block->next;
    const Entry* const ptr = &block->entries[static_cast<std::size_t>(index)];
    ZYN_ASSERT(ptr->_sourceCcsid != 0);
    return *ptr;
}

inline void ZynIconvDescriptorArray::Begin(const Entry& entry) {
    if (entry._lock != nullptr)
        entry._lock->Request();
}

inline void ZynIconvDescriptorArray::End(const Entry& entry) {
    if (entry._lock != nullptr)
        entry._lock->Release();
}

inline UConverter* ZynIconvDescriptorArray::GetDescriptorSrc(int index) const {
    const Entry& entry = EntryAt(index);
    Begin(entry);
    return entry._source;
}

inline UConverter* ZynIconvDescriptorArray::GetDescriptorTgt(int index) const {
    return EntryAt(index)._target;
}

inline void ZynIconvDescriptorArray::FreeDescriptor(int index) const {
    End(EntryAt(index));
}

inline ZynIconvDescriptorArray::Turn::Turn(const ZynIconvDescriptorArray& descriptors, int index)
    : _entry(descriptors.EntryAt(index)) {
    Begin(_entry);
}

inline ZynIconvDescriptorArray::Turn::~Turn() {
    End(_entry);
}
