/// @file
/// How the vocabulary tables come into being.
#pragma once

/// Makes every table in the storage that its name stands for, in the order of their declarations. Once, while the
/// library loads. Another translation unit than that of the storage: here the compiler knows of the names no more
/// than the public header says, so they lead to the tables in use, which a program may have moved into itself.
void makeVocabularyTables();
