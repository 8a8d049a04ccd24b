/// @file
/// A product's states as a table: for each its id, encoding, storage, limits, and what happens when it changes. What
/// the module asks about states is answered from the table alone.
#ifndef FIRMWARE_STATE_TABLE_H
#define FIRMWARE_STATE_TABLE_H

#include <stddef.h>

#include <hostlink/HostLinkLib.h>
#include <hostlink/HostLinkVocabularyNumbers.h>

typedef struct StateRow {
    uint16_t id;
    uint8_t encoding;
    uint8_t isWritable;    ///< by the module
    uint16_t size;         ///< of the storage, in bytes
    void* storage;         ///< a number of the encoding's width, up to 32 bits, or a text
    int32_t least, most;   ///< of a number
    void (*changed)(void); ///< the module has set it; may be null
} StateRow;

/// @name Storage of a state
/// @{
/// A text of up to `length` bytes, 255 or fewer: `static STATE_TEXT(20) name;`
#define STATE_TEXT(length)                                                                                             \
    struct {                                                                                                           \
        uint8_t used;                                                                                                  \
        char text[length];                                                                                             \
    }
/// Its beginning: `= STATE_TEXT_OF("Kitchen")`.
#define STATE_TEXT_OF(literal)                                                                                         \
    { sizeof(literal) - 1, literal }
/// @}

/// @name Rows of the table
/// @{
/// A number that the module may set from `least` to `most`; `hook` runs after it has.
#define NUMBER(id, encoding, storage, least, most, hook)                                                               \
    { id, encoding, 1, sizeof(storage), &(storage), least, most, hook }
/// A number that the product alone changes.
#define NUMBER_TOLD(id, encoding, storage)                                                                             \
    { id, encoding, 0, sizeof(storage), (void*)&(storage), 0, 0, NULL }
/// A text that the module may set.
#define TEXT(id, storage, hook)                                                                                        \
    { id, ENC_Bin16, 1, sizeof(storage), &(storage), 0, 0, hook }
/// A text that the product alone changes.
#define TEXT_TOLD(id, storage)                                                                                         \
    { id, ENC_Bin16, 0, sizeof(storage), (void*)&(storage), 0, 0, NULL }
/// @}

/// Room for what is known about each state: whether the module has subscribed to it, whether it has changed.
typedef struct StateTable {
    const StateRow* rows;
    uint8_t* marks; ///< one for each row, zeros at first
    uint16_t count;
} StateTable;

/// The product changes a number by itself; the module is told if it has subscribed and the number is another one. The
/// hook does not run.
void stateTell(const StateTable* table, uint16_t id, int32_t number);

/// @name Requests; each sends its answer
/// @{
/// Values out of range, of another kind or of states that are not there are left out; the answer has, for each item,
/// what is held afterwards, `Nil` where there is no such state.
void stateSet(const StateTable* table, const HostLinkLL* request);
void stateGet(const StateTable* table, const HostLinkLL* request);
void stateSubscribe(const StateTable* table, const HostLinkLL* request);
void stateUnsubscribe(const StateTable* table, const HostLinkLL* request);
/// @}

/// The module has started over: nothing is subscribed.
void stateUnsubscribeAll(const StateTable* table);

/// Tells the module what has changed since the last call, in one message; nothing when nothing has. While there is
/// room.
void stateSendChanges(const StateTable* table);

/// The answer to a request that is not understood.
void sendUnsupported(void);

#endif
