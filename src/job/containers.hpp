// The program's containers: block-wise array lists whose items never move, linked lists whose
// cells come from such lists, sorted integer lists and bit arrays.
#pragma once

#include <cstdint>

namespace tesmora {

inline constexpr int items_per_block = 40000; // items of one block of a BLOCKED_ARRAY_LIST

// A growable store of fixed-size items in blocks of 40000 (tag "ANY_block"). Items are handed
// out in contiguous runs and never move, so records in it can be pointed at freely.
struct BLOCKED_ARRAY_LIST {
  void *first_block = nullptr;        // head of the chain of blocks
  void *current_block = nullptr;      // block being filled
  int items_left = 0;                 // free items in the current block
  unsigned char *next_item = nullptr; // the next free item
  int item_size = 0;                  // bytes per item
};

BLOCKED_ARRAY_LIST *create_blocked_array_list(int item_size);
// Address of `count` contiguous zeroed items; count must not exceed 40000.
void *allocate_items(BLOCKED_ARRAY_LIST *list, int count);
// Frees every block and the record, and sets *list to null.
void delete_blocked_array_list(BLOCKED_ARRAY_LIST **list);

// A list cell: the link, one word of data (a pointer, or the previous cell in a doubly linked
// list), then whatever the item size leaves for the owner.
struct LINKABLE {
  LINKABLE *next;
  void *data;
};

struct LINKED_LIST {
  LINKABLE *first = nullptr;
  LINKABLE *last = nullptr;
};

// Cell store shared by linked lists: fresh cells from a block list, given-back cells on a free
// list, counted references from the lists that use it.
struct ARRAY_LIST {
  int reference_count = 0;
  int item_size = 0;                   // bytes per cell
  BLOCKED_ARRAY_LIST *array = nullptr; // where fresh cells come from
  LINKED_LIST *free_list = nullptr;    // cells given back
};

// An array of list heads (index 0 .. no_lists-1) over one cell store.
struct LINKED_LIST_WITH_BUFFER {
  LINKED_LIST *lists = nullptr; // the heads, one per index; 0-based, no_lists long
  int no_lists = 0;
  ARRAY_LIST *buffer = nullptr; // cell store, possibly shared
};

// With a buffer, its item size must equal item_size, else the job stops with a size conflict.
LINKED_LIST_WITH_BUFFER *create_linked_list_with_buffer(int no_lists, int item_size, ARRAY_LIST *buffer);
void delete_linked_list_with_buffer(LINKED_LIST_WITH_BUFFER *list);

// A cell from the free list or else from the block list; its first two words are zeroed.
LINKABLE *new_cell(LINKED_LIST_WITH_BUFFER *list);
// Puts the cell in front of list `index`.
void add_to_list(LINKED_LIST_WITH_BUFFER *list, LINKABLE *cell, int index);
// Puts the cell in front of list `index` of a doubly linked use: `data` holds the previous cell.
void add_to_double_list(LINKED_LIST_WITH_BUFFER *list, LINKABLE *cell, int index);
// Unlinks the first cell of list `index` whose data equals `data` and gives it back.
void remove_from_list(LINKED_LIST_WITH_BUFFER *list, const void *data, int index);
// Unlinks a cell of a doubly linked list `index` (its data is the previous cell) and gives it back.
void unlink_cell(LINKABLE *cell, LINKED_LIST_WITH_BUFFER *list, int index);
// Unlinks a cell of a singly linked list `index` whose predecessor is known (null at the head).
void unlink_cell(LINKABLE *cell, LINKED_LIST_WITH_BUFFER *list, int index, LINKABLE *previous);
// Reverses a singly linked chain in place and returns its new head.
LINKABLE *reverse_list(LINKABLE *head);
// Frees a list whose cells were allocated one by one, then its head.
void delete_plain_linked_list(LINKED_LIST *list);

// Sorted integer list for connection lists: 16-byte cells from one block-list store.
struct SORTED_CELL {
  int value;
  SORTED_CELL *next;
};
static_assert(sizeof(SORTED_CELL) == 16);

BLOCKED_ARRAY_LIST *create_sorted_list_store();
// Inserts in ascending order; a value already present is not inserted twice.
void insert_sorted(BLOCKED_ARRAY_LIST *store, SORTED_CELL **head, int value);
// Appends to *out_head, in order, the values of in_head lower than limit.
void copy_below(BLOCKED_ARRAY_LIST *store, SORTED_CELL **out_head, const SORTED_CELL *in_head, int limit);

// Bit arrays of 32-bit words. Bit i is in word i / word_bits at position word_bits-1 - i % word_bits:
// the first bit of a word is its highest bit.
consteval int count_word_bits() {
  int bits = 0;
  for (std::uint32_t all = ~std::uint32_t{0}; all != 0; all >>= 1) ++bits;
  return bits;
}
inline constexpr int word_bits = count_word_bits();

inline int get_bit(const std::uint32_t *words, std::int64_t i) {
  return static_cast<int>((words[i / word_bits] >> (word_bits - 1 - i % word_bits)) & 1u);
}
inline void set_bit(std::uint32_t *words, std::int64_t i, int on) {
  const std::uint32_t mask = std::uint32_t{1} << (word_bits - 1 - i % word_bits);
  if (on)
    words[i / word_bits] |= mask;
  else
    words[i / word_bits] &= ~mask;
}
// Words needed for a bit array of no_bits bits.
inline std::int64_t bit_array_words(std::int64_t no_bits) { return (no_bits + word_bits - 1) / word_bits; }

} // namespace tesmora
