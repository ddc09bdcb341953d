/* The way of a change of settings from the control program to the audio threads of two effects in one process: the
 * update event and its relay, the chain token, the three slots for chains, and the end of one effect at any moment.
 * docs/hand-over.md says which line of the code each part stands for. scripts/model checks it, and that each of the
 * faults that WITHOUT_... and similar names put in is found.
 *
 * Every step that the code makes under a lock, or that the system makes as one, is one step here; between any two steps
 * every other process may run. What compilers and processors may reorder is modelled where the code forbids it: a chain
 * is written after it is made known (RELAXED_PUBLISH), and used after the token is given back (RELAXED_RETURN).
 */

#define EFFECTS 2
#ifndef UPDATES
#define UPDATES 2                  /* changes of the text, the first of which may be in force from the start */
#endif
#define IDLE_BLOCKS 1              /* blocks without a pending chain; more of them are all alike */
#define CHAINS 4                   /* per effect: current, pending, retired and one being built */
#define NONE 0                     /* no chain */
#ifndef FLOOD                      /* a build may fail, but for the last text, which the judge wants to see in force */
#define MAY_FAIL(which) (which == 0 && text != UPDATES)
#else
#define MAY_FAIL(which) (which == 0)
#endif
#define TORN 100                   /* what a read of the text sees while it is being written */

/* The settings page and the named event. */
byte text = 0;
bool updateEvent = false;          /* auto-reset */
bool writerDone = false;

typedef Effect {
    /* SignalRelay::Listener */
    bool listed;
    bool look;                     /* its private event, auto-reset */
    bool passedOn;
    bool watches;
    bool awaits;
    /* ChainRebuilder */
    bool shutdown;
    byte token;
    /* ChainSlots */
    byte current;
    byte pending;
    byte retired;
    /* Chains 1 to CHAINS: in memory, wholly written, and the text each was built from. */
    bool lives[5];
    bool written[5];
    byte version[5];
    /* The audio thread's hold on two of them during a block. */
    byte uses;
    byte fades;
    bool unlocked;                 /* the engine sends no more blocks */
    bool audioEnded;
    bool threadEnded;
    bool gone;
};
Effect effect[EFFECTS];

inline watched(found) {
    found = (effect[0].awaits && effect[0].watches) || (effect[1].awaits && effect[1].watches)
}

inline tell(which) {
    effect[which].passedOn = true;
    effect[which].look = true
}

inline newChain(which, made) {
    made = 1;
    do
    :: made <= CHAINS && effect[which].lives[made] -> made++
    :: else -> break
    od;
    assert(made <= CHAINS);       /* else one was lost, neither in a slot nor freed */
    effect[which].lives[made] = true;
    effect[which].written[made] = false
}

inline freeChain(which, made) {
    if
    :: made != NONE ->
        assert(effect[which].lives[made]);
        assert(effect[which].uses != made && effect[which].fades != made);   /* in use on the audio thread */
        effect[which].lives[made] = false
    :: else
    fi
}

/* ApoConfigManager::ReadConfigData, ChainBuilder::build */
inline build(which, made) {
    d_step {
        newChain(which, made);
        effect[which].version[made] = text;
#ifndef RELAXED_PUBLISH
        effect[which].written[made] = true
#endif
    }
}

/* ChainSlots::publish */
inline publish(which, made, isPending) {
    isPending = effect[which].current != NONE;
    if
    :: isPending ->
        assert(effect[which].pending == NONE);     /* else the one that waits would be lost */
        effect[which].pending = made
    :: else -> effect[which].current = made
    fi
}

/* SignalRelay::findWatcher, under the relay's lock */
inline findWatcher(one) {
#ifndef WITHOUT_NEXT_WATCHER
    watched(one);
    if
    :: one
    :: !one && effect[0].awaits -> effect[0].look = true
    :: !one && !effect[0].awaits && effect[1].awaits -> effect[1].look = true
    :: else
    fi
#else
    skip
#endif
}

/* ChainRebuilder::startStream and rebuildOnUpdates: the parameter-change thread. */
proctype changes(byte e) {
    byte chain;
    bool pends;
    bool heard;
    bool stops;
    bool isOne;

#ifndef LATE_LISTENER
    effect[e].listed = true;       /* by the constructor, before the first chain */
#endif
    build(e, chain);
    d_step {                       /* no block comes before the first chain is there */
        publish(e, chain, pends);
        effect[e].token = 1
    };
#ifdef RELAXED_PUBLISH
    effect[e].written[chain] = true;
#endif
#ifdef LATE_LISTENER
    effect[e].listed = true;
#endif

next:
    /* Listener::wait */
    stops = false;
    heard = false;
    do
    :: heard -> break
    :: !heard ->
        d_step {                   /* beginWait */
            watched(isOne);
            effect[e].watches = !isOne;
            effect[e].awaits = true
        }
        d_step {                   /* WaitForMultipleObjects takes the first that is signalled */
            (effect[e].shutdown || effect[e].look || (effect[e].watches && updateEvent));
            stops = false;
            isOne = false;         /* whether it took the event itself */
            if
#ifndef STOP_LAST
            :: effect[e].shutdown -> stops = true
#else
            :: effect[e].shutdown && !effect[e].look && !(effect[e].watches && updateEvent) -> stops = true
#endif
            :: else ->
                if
                :: effect[e].look -> effect[e].look = false
                :: else -> updateEvent = false; isOne = true
                fi
            fi
        }
        d_step {                   /* endWait */
            effect[e].awaits = false;
            effect[e].watches = false;
            if
            :: isOne ->
                heard = true;
#ifndef WITHOUT_PASSING_ON
                if
                :: effect[1 - e].listed -> tell(1 - e)
                :: else
                fi
#endif
            :: else ->
                if
                :: stops -> heard = true; findWatcher(isOne)
                :: else ->
                    heard = effect[e].passedOn;
                    effect[e].passedOn = false;
                    if
                    :: heard -> findWatcher(isOne)
                    :: else
                    fi
                fi
            fi
        }
    od;
    if
    :: stops -> goto ended
    :: else
    fi;

#ifndef WITHOUT_TOKEN
    d_step {                       /* awaitToken, stopping first */
        (effect[e].shutdown || effect[e].token > 0);
        if
#ifndef STOP_LAST
        :: effect[e].shutdown -> stops = true
#else
        :: effect[e].shutdown && effect[e].token == 0 -> stops = true
#endif
        :: else -> effect[e].token--
        fi
    }
#endif
    if
    :: stops -> goto ended
    :: else
    fi;
    d_step {                       /* freeRetired */
        freeChain(e, effect[e].retired);
        effect[e].retired = NONE
    }
    if
    :: MAY_FAIL(e) -> pends = false    /* no memory: what plays goes on */
    :: true ->
        build(e, chain);
        d_step { publish(e, chain, pends) }
#ifdef RELAXED_PUBLISH
        ; effect[e].written[chain] = true
#endif
    fi;
    if
    :: pends
#ifndef TOKEN_KEPT
    :: !pends -> effect[e].token++     /* nothing fades in that would bring it back */
#else
    :: !pends
#endif
    fi;
    goto next;

ended:
    effect[e].threadEnded = true
}

/* ChainSlots::process and ChainRebuilder::process: the engine's thread. A fade takes any number of blocks. */
proctype audio(byte e) {
    byte idle = 0;
    bool completes;

    do
    :: effect[e].unlocked -> break
    :: !effect[e].unlocked && effect[e].current != NONE && (effect[e].pending != NONE || idle < IDLE_BLOCKS) ->
        effect[e].uses = effect[e].current;
        effect[e].fades = effect[e].pending;
        assert(effect[e].lives[effect[e].uses] && effect[e].written[effect[e].uses]);
        if
        :: effect[e].fades == NONE -> idle++; effect[e].uses = NONE
        :: else ->
            assert(effect[e].lives[effect[e].fades] && effect[e].written[effect[e].fades]);
            if
            :: completes = true
            :: idle < IDLE_BLOCKS -> completes = false; idle++     /* the fade goes on in the next block */
            fi;
            if
            :: !completes -> d_step { effect[e].uses = NONE; effect[e].fades = NONE }
            :: completes ->
#ifdef TOKEN_BEFORE_SWAP
                effect[e].token++;
#endif
                effect[e].retired = effect[e].uses;
                effect[e].current = effect[e].fades;
                effect[e].pending = NONE;
#if !defined(TOKEN_BEFORE_SWAP) && defined(RELAXED_RETURN)
                effect[e].token++;
#endif
                d_step { effect[e].uses = NONE; effect[e].fades = NONE };
#if !defined(TOKEN_BEFORE_SWAP) && !defined(RELAXED_RETURN)
                effect[e].token++
#endif
            fi
        fi
    od;
    effect[e].audioEnded = true
}

/* The same with each block as one step, which is enough for the effect that only listens beside the other: what may
 * happen within a block is explored with the first. */
proctype quickAudio(byte e) {
    do
    :: effect[e].unlocked -> break
    :: d_step {
        !effect[e].unlocked && effect[e].pending != NONE ->
        assert(effect[e].lives[effect[e].current] && effect[e].lives[effect[e].pending]);
        effect[e].retired = effect[e].current;
        effect[e].current = effect[e].pending;
        effect[e].pending = NONE;
        effect[e].token++
       }
    od;
    effect[e].audioEnded = true
}

/* A control program: each change is a torn text for a while, then the signal. Its wait for the signal to be taken has a
 * limit, so it may go on without. */
proctype writer() {
    byte change = 1;

#ifdef FLOOD
    do
    :: updateEvent = true
    od;
#endif
    do
    :: change <= UPDATES ->
#ifdef SIGNAL_BEFORE_TEXT
        updateEvent = true;
#endif
        text = TORN;
        text = change;
#ifndef SIGNAL_BEFORE_TEXT
        updateEvent = true;
#endif
        change++
    :: else -> break
    od;
    writerDone = true
}

/* The engine's end of the first effect, at any moment: no more blocks, ~EffectManager, and with the last reference the
 * settings' listener and the chains. */
proctype destroyer(byte e) {
    bool isOne;

    effect[e].unlocked = true;
    effect[e].audioEnded;
    effect[e].shutdown = true;
#ifndef WITHOUT_REFERENCE
    effect[e].threadEnded;
#endif
    d_step {
        effect[e].listed = false;
        freeChain(e, effect[e].pending);
        freeChain(e, effect[e].current);
        freeChain(e, effect[e].retired);
        effect[e].pending = NONE;
        effect[e].current = NONE;
        effect[e].retired = NONE;
        effect[e].gone = true
    }
#ifdef WITHOUT_REFERENCE
    effect[e].threadEnded;
    assert(!effect[e].lives[1] && !effect[e].lives[2] && !effect[e].lives[3] && !effect[e].lives[4])
#endif
}

/* When nothing can go on any more, everything has to be in its place. */
proctype judge() {
    byte e = 0;
    byte chain;
    byte alive;

    timeout;
    assert(writerDone);
    do
    :: e < EFFECTS ->
        if
        :: effect[e].gone ->
            assert(effect[e].threadEnded);
            chain = 1;
            do
            :: chain <= CHAINS -> assert(!effect[e].lives[chain]); chain++
            :: else -> break
            od
        :: else ->
            assert(!effect[e].shutdown);           /* whoever was told to end has ended */
            assert(effect[e].pending == NONE);
            assert(effect[e].version[effect[e].current] == UPDATES);    /* the last text is in force */
#ifndef WITHOUT_TOKEN
            assert(effect[e].token == 1);
#endif
            alive = 0;
            chain = 1;
            do
            :: chain <= CHAINS -> alive = alive + effect[e].lives[chain]; chain++
            :: else -> break
            od;
            assert(alive == (effect[e].retired != NONE -> 2 : 1))      /* none is lost */
        fi;
        e++
    :: else -> break
    od
}

init {
    atomic {
        run changes(0);
        run audio(0);
        run changes(1);
        run quickAudio(1);
        run writer();
#ifndef FLOOD
        run judge();
#endif
#ifndef NOBODY_ENDS
        run destroyer(0)
#endif
    }
}

#ifdef FLOOD
/* However the signals come, an effect that is told to end does. */
ltl ends { [] (effect[0].shutdown -> <> effect[0].threadEnded) }
#endif
