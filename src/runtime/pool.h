// Pools of fixed-size records whose first word is a link: types, symbols,
// statements and expression nodes. Records are cut from heap blocks, come
// back through a free list and are never returned to the heap one by one.
//
// A record taken "in the generation" is threaded through its link word onto
// the pool's generation chain; ending the generation hands the whole chain
// to the free list in one step (everything one function definition made).
// A record taken outside it keeps a null link and is the caller's: it lives
// to the end of the run or is given back singly (symbols, whose first word
// is their list link).
#pragma once
#include <cstddef>

struct RecordPool {
    std::size_t record_size;
    std::size_t block_records;  // records per heap block
    void *free_list;            // records ready for reuse
    void *generation;           // records taken in the generation, newest first
    void *generation_oldest;    // its last record, where the free list is joined on
    void *blocks;               // every heap block, for the end of the run
    char *fresh;                // the next never-used record of the newest block
    std::size_t fresh_left;
};

// The description of an empty pool of records of type R. The link word is
// written as a pointer, so R must begin with one and need no wider alignment.
template <typename R>
constexpr RecordPool record_pool(std::size_t block_records = 256)
{
    static_assert(sizeof(R) >= sizeof(void *) && alignof(R) <= alignof(void *));
    return RecordPool{sizeof(R), block_records, nullptr, nullptr, nullptr, nullptr, nullptr, 0};
}

// A record from the free list, or a fresh one; its other words hold whatever
// the record held before.
void *pool_take(RecordPool *pool, bool in_generation);
// One record back to the free list (a record taken outside the generation).
void pool_give(RecordPool *pool, void *record);

// Where the generation stands; pool_return_to() gives back every record
// taken in the generation since that mark, newest first.
inline void *pool_mark(const RecordPool *pool) { return pool->generation; }
void pool_return_to(RecordPool *pool, void *mark);
// The whole generation back to the free list; a new one starts empty.
void pool_end_generation(RecordPool *pool);

// Every block freed: the pool is empty as at the start of the run.
void pool_reset(RecordPool *pool);
