#include "desk_script.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { LINE = 512 };

/* 0 for a word that is no key. */
static char key_of(const char* word) {
    if (strcmp(word, "space") == 0) return ' ';
    if (strcmp(word, "enter") == 0) return '\n';
    return strlen(word) == 1 && strchr("1234trq", word[0]) != NULL ? word[0] : '\0';
}

/* 1 for a cue, 0 for a line with nothing on it, -1 for one that makes no sense. */
static int read_cue(struct desk_cue* cue, char* line) {
    char word[16], end[2];
    int words;
    line[strcspn(line, "#\r\n")] = '\0';
    if (line[strspn(line, " \t")] == '\0') return 0;
    memset(cue, 0, sizeof *cue);
    words = sscanf(line, "%lf %15s %255s %1s", &cue->seconds, word, cue->shot, end);
    if (words < 2 || !(cue->seconds >= 0.0)) return -1;
    if (words == 3 && strcmp(word, "shot") == 0) return 1;
    cue->key = key_of(word);
    return words == 2 && cue->key != '\0' ? 1 : -1;
}

static int append(struct desk_script* script, const struct desk_cue* cue) {
    struct desk_cue* const cues =
        realloc(script->cues, ((size_t)script->count + 1) * sizeof *script->cues);
    if (cues == NULL) return 0;
    cues[script->count] = *cue;
    script->cues = cues;
    ++script->count;
    return 1;
}

int desk_script_read(struct desk_script* script, const char* path) {
    char line[LINE];
    struct desk_cue cue;
    int number = 0, understood = 1;
    FILE* const file = fopen(path, "r");
    memset(script, 0, sizeof *script);
    if (file == NULL) {
        printf("  CANNOT READ %s\n", path);
        return 0;
    }
    while (understood && fgets(line, sizeof line, file) != NULL) {
        const int found = read_cue(&cue, line);
        ++number;
        understood = found >= 0 && (found == 0 || append(script, &cue));
        if (!understood) printf("  %s:%d: neither a key nor a screenshot\n", path, number);
    }
    fclose(file);
    if (!understood) desk_script_free(script);
    return understood;
}

void desk_script_free(struct desk_script* script) {
    free(script->cues);
    memset(script, 0, sizeof *script);
}

const struct desk_cue* desk_script_due(struct desk_script* script, double seconds) {
    const struct desk_cue* cue;
    if (script->next == script->count) return NULL;
    cue = &script->cues[script->next];
    if (cue->seconds + script->late > seconds) return NULL;
    script->late = seconds - cue->seconds;
    ++script->next;
    return cue;
}
