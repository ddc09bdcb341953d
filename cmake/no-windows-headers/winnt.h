#error "The core is portable: no Windows header here."
